// A scan as the JSON that disk-usage browsers read: the export format of ncdu, version 1.2
// (https://dev.yorhel.nl/ncdu/jsonfmt), which gdu reads, too.
#pragma once

#include "tools/dtldu/counting.h"
#include "tools/dtldu/options.h"

namespace tabulon {

// Writes the tree with its files to `fd`. Directories have no size of their own there, so that the
// browsers' sums are dtldu's. Returns false when the scan breaks off.
bool WriteNcdu(const QueriedScan& scan, const DuOptions& options, int fd, ReadProgress& progress);

}  // namespace tabulon
