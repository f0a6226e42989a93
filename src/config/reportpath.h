// Where report files go: what the command line names is opened by the bytes that were given, the
// name below it by the locale's encoding.
#pragma once

#include <optional>
#include <string>

namespace tabulon {

struct ReportPath {
  std::wstring shown;                // in messages
  std::optional<std::string> bytes;  // to open; none when the locale cannot encode the name
};

// `name` in `reportDir`, or by itself when there is no report directory. errno is EILSEQ when there
// are no bytes.
ReportPath InReportDir(const std::wstring& name);

}  // namespace tabulon
