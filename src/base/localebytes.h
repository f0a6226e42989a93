// Wide text in the locale's multibyte encoding.
#pragma once

#include <string>
#include <string_view>

namespace tabulon {

// Appends `text` as bytes of the process locale; a unit that the encoding cannot hold becomes '?'.
void AppendLocaleBytes(std::string& out, std::wstring_view text);

}  // namespace tabulon
