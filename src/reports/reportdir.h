// The directory that a report's lines are in, as the report shows it.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "config/report.h"
#include "detail/recordtext.h"
#include "detail/scan.h"
#include "reports/linewriter.h"

namespace tabulon {

// How a directory's stored path is shown: behind the root path or not, and without so many of its
// first units.
struct ShownDirectory {
  bool withRoot;
  size_t dropped;
};
ShownDirectory ShowDirectory(const Report& report, const Scan& scan, const RecordText& name);

// Adds the path of the directory named `name` to a line or a text: behind the root path in the
// "absolute" path form, as it is in the "relative" one. Returns the path's last unit; 0 when it is
// empty. `root`: the root path.
template <class Out>
wchar_t AddDirectory(const Report& report, const Scan& scan, const EncodedText& root,
                     const RecordText& name, Out& out) {
  const ShownDirectory shown = ShowDirectory(report, scan, name);
  if (shown.withRoot) out.Add(root);
  const wchar_t rootEnd = shown.withRoot && !scan.rootPath.empty() ? scan.rootPath.back() : L'\0';
  return name.Visit([&](auto path) {
    path.remove_prefix(shown.dropped);
    out.Add(path);
    return path.empty() ? rootEnd : static_cast<wchar_t>(path.back());
  });
}

// Whether full paths are shown; otherwise names stand below directory headings.
inline bool ShowsFullPaths(const Report& report) {
  return (report.flags & kFlagFullPath) != 0;
}

// Writes the heading of a directory below which names stand.
void WriteDirectoryHeading(const Report& report, LineWriter& writer, const EncodedText& path);

}  // namespace tabulon
