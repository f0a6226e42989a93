#include "config/narrowpath.h"

#include <cstdlib>

#include "base/format.h"
#include "config/settings.h"

namespace tabulon {

std::optional<std::string> NarrowPath(const std::wstring& path) {
  const size_t length = std::wcstombs(nullptr, path.c_str(), 0);
  if (length == static_cast<size_t>(-1)) return std::nullopt;
  std::string narrow(length, '\0');
  std::wcstombs(narrow.data(), path.c_str(), length);
  return narrow;
}

std::wstring InReportDir(const std::wstring& name) {
  return reportDir ? Formatted(L"%ls/%ls", *reportDir, name) : name;
}

}  // namespace tabulon
