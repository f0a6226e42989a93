// The lines of a [report] section. The first one names the type; the others set what the report
// shows and where it goes.
#pragma once

#include <string_view>

#include "config/report.h"
#include "detail/scan.h"

namespace tabulon {

// Applies one line. Keywords are known in any letter case, but "showlink" in small letters only
// (kept so); so are values that are words, but those of "fields". A keyword that is given again
// replaces what it set before, except "filter" and "select" (a record must pass every line),
// "dupcheck" (checks add up), "inactive=no" (no effect) and "category" (can only switch off). A
// fault ends the run. REQUIRES: `report` is in reportList.
void ReportLine(std::wstring_view key, std::wstring_view value, Report& report, const Scan& scan);

// Sets the report's type, scan restriction and default title. A summary goes to the head of
// reportList, a SID use report to the head or right behind the summary that stands there. A second
// type and an unknown one end the run, as does a type that the detail file has no figures for.
void ValidateReportType(std::wstring_view value, Report& report, const Scan& scan);

// Moves the report to the head of reportList; with `behindSummary` to the place behind the first
// entry when that is a summary. References to reports stay good.
void MoveToListHead(const Report& report, bool behindSummary);

// Switches the report off unless the command line selected all categories or one of the comma list
// `value`. A report that is inactive already stays as it is.
void CheckCategoryList(std::wstring_view value, Report& report);

}  // namespace tabulon
