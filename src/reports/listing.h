// Listing reports: one line per matching record, as text or CSV, with a heading per directory when
// names are shown without their paths.
//
//   ---- Large files ----
//
//   In directory: /export/vol1/projects
//     model.bin
//     current  =>  model.bin
#pragma once

#include "reports/report.h"

namespace tabulon {

// A listing of the records that the kind of the report and its filter select.
std::unique_ptr<ReportAccumulator> MakeListing(const ReportDefinition& report, ReportRun& run);

}  // namespace tabulon
