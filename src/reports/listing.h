// Listing reports: one line per matching record, as text or CSV, with a heading per directory when
// names are shown without their paths.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "config/report.h"
#include "detail/recordreader.h"

namespace tabulon {

// Writes a listing report from the positions that the scan has noted.
void DisplayReport(Report& report);

// The path of the directory named `name` as the report shows it: behind the root path ("absolute"
// form) or as it is ("relative").
std::wstring DirectoryPath(const Report& report, std::wstring_view name);

}  // namespace tabulon
