// The directory that a report's lines are in, as the report shows it.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "config/report.h"
#include "detail/recordtext.h"
#include "reports/linewriter.h"

namespace tabulon {

// How a directory's stored path is shown: behind the root path or not, and without so many of its
// first units.
struct ShownDirectory {
  bool withRoot;
  size_t dropped;
};
ShownDirectory ShowDirectory(const Report& report, const RecordText& name);

// The path of the directory named `name`: behind the root path in the "absolute" path form, as it
// is in the "relative" one.
std::wstring DirectoryPath(const Report& report, const RecordText& name);

// Whether full paths are shown; otherwise names stand below directory headings.
inline bool ShowsFullPaths(const Report& report) {
  return (report.flags & kFlagFullPath) != 0;
}

// Makes the directory whose path is `path` the report's current one, and writes its heading when
// names stand below headings.
void SetDirectory(Report& report, LineWriter& writer, std::wstring_view path);

}  // namespace tabulon
