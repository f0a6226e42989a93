// The lines of a [report] section. The first one names the type; the others set what the report
// shows and where it goes.
#pragma once

#include <string_view>

#include "config/reportdefinition.h"
#include "detail/scan.h"

namespace tabulon {

// What is needed to read a section of the configuration, and what it is read into.
struct ConfigContext {
  const Scan& scan;
  ReportKinds kinds;
  Configuration& made;
};

// Applies one line. Keywords are known in any letter case, but "showlink" in small letters only
// (kept so); so are values that are words, but those of "fields". A keyword that is given again
// replaces what it set before, except "filter" and "select" (a record must pass every line),
// "dupcheck" (checks add up), "inactive=no" (no effect) and "category" (can only switch off). A
// fault ends the run. REQUIRES: `report` is in the list of `context`.
void ReportLine(std::wstring_view key, std::wstring_view value, ReportDefinition& report,
                const ConfigContext& context);

// Sets the report's kind and default title. A summary goes to the head of the list, a SID use
// report to the head or right after the summary that is there. A second type and an unknown one end
// the run, as does a type that the detail file has no figures for.
void ValidateReportType(std::wstring_view value, ReportDefinition& report,
                        const ConfigContext& context);

// Moves the report to the head of the list; with `behindSummary` to the place after the first entry
// when that is a summary. References to reports stay valid.
void MoveToListHead(std::list<ReportDefinition>& reportList, const ReportDefinition& report,
                    bool behindSummary);

// Switches the report off unless all categories were selected or one of the comma list `value`. A
// report that is inactive already stays as it is.
void CheckCategoryList(std::wstring_view value, ReportDefinition& report,
                       const std::list<std::wstring>& catList);

}  // namespace tabulon
