// Listing reports: one line per matching record, as text or CSV, with a heading per directory when
// names are shown without their paths.
//
//   ---- Large files ----
//
//   In directory: /export/vol1/projects
//     model.bin
//     current  =>  model.bin
#pragma once

#include "config/report.h"
#include "detail/scan.h"

namespace tabulon {

// Writes a listing report from the positions that the scan has noted.
void DisplayReport(Report& report, const Scan& scan);

}  // namespace tabulon
