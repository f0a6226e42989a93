// Listing reports: one line per matching record, as text or CSV, with a heading per directory when
// names are shown without their paths.
//
//   ---- Large files ----
//
//   In directory: /export/vol1/projects
//     model.bin
//     current  =>  model.bin
#pragma once

#include "base/spoolfile.h"
#include "reports/report.h"

namespace tabulon {

// What a listing keeps of a matching record.
struct PositionPair {
  uint64_t record;     // file offset of the record
  uint64_t directory;  // file offset of the directory record that was current
};
static_assert(sizeof(PositionPair) == 16);

// Makes the temporary file for the positions of a report's records. When that fails it is told,
// and the report will be empty.
void CreatePositionFile(SpoolFile& positions);

// A listing of the records that the kind of the report and its filter select.
std::unique_ptr<ReportAccumulator> MakeListing(const ReportDefinition& report, ReportRun& run);

}  // namespace tabulon
