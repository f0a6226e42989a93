// The root of a scan, and paths below it.
#pragma once

#include <string>
#include <string_view>

namespace tabulon {

// A header string, whose units are UTF-16 with their sign extended, as UTF-8. A surrogate without
// its other half gives bytes that are not UTF-8 and are replaced like others.
std::string UtfOfUnits(const std::wstring& units);

// Sets `path` to the path of a directory, as its record has it, with `root` (which may be empty) in
// front.
void JoinRoot(char separator, std::string_view root, std::string_view directory, std::string& path);

}  // namespace tabulon
