// The largest, newest or oldest files of a scan.
#pragma once

#include "tools/dtldu/counting.h"
#include "tools/dtldu/options.h"
#include "tools/dtldu/rowtable.h"

namespace tabulon {

// Writes them, best first, as rows of the table. Returns false when the scan breaks off.
bool ShowFiles(const QueriedScan& scan, const DuOptions& options, DuTable& table,
               ReadProgress& progress);

}  // namespace tabulon
