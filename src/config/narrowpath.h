// Paths on their way from the configuration to the system.
#pragma once

#include <optional>
#include <string>

namespace tabulon {

// `path` in the locale's multibyte encoding; none, with errno EILSEQ, when it holds a character
// that the locale cannot encode.
std::optional<std::string> NarrowPath(const std::wstring& path);

// `name` in `reportDir`, or by itself when there is no report directory.
std::wstring InReportDir(const std::wstring& name);

}  // namespace tabulon
