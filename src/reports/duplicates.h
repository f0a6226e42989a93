// The duplicates report.
//
//   ---- Duplicate file report ----
//
//   Size: 734003200  Modified: 04/12/24 10:18:09
//     /export/vol1/media\film.iso
//     /export/vol1/old/media\film.iso
#pragma once

#include "reports/report.h"

namespace tabulon {

std::unique_ptr<ReportAccumulator> MakeDuplicates(const ReportDefinition& report, ReportRun& run);

}  // namespace tabulon
