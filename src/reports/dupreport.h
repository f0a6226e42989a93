// The duplicates report.
//
//   ---- Duplicate file report ----
//
//   Size: 734003200  Modified: 04/12/24 10:18:09
//     /export/vol1/media\film.iso
//     /export/vol1/old/media\film.iso
#pragma once

#include "config/report.h"
#include "detail/scan.h"

namespace tabulon {

// Writes the groups that the finder has made.
void DuplicateReport(Report& report, const Scan& scan);

}  // namespace tabulon
