#include "config/reportpath.h"

#include <cstdlib>

#include "base/format.h"
#include "config/settings.h"

namespace tabulon {
namespace {

std::optional<std::string> InLocale(const std::wstring& name) {
  const size_t length = std::wcstombs(nullptr, name.c_str(), 0);
  if (length == static_cast<size_t>(-1)) return std::nullopt;
  std::string narrow(length, '\0');
  std::wcstombs(narrow.data(), name.c_str(), length);
  return narrow;
}

}  // namespace

ReportPath InReportDir(const std::wstring& name) {
  ReportPath path{reportDir ? Formatted(L"%s/%ls", *reportDir, name) : name, InLocale(name)};
  if (reportDir && path.bytes) path.bytes = *reportDir + "/" + *path.bytes;
  return path;
}

}  // namespace tabulon
