// The pass over a scan that counts what is in its directories.
#pragma once

#include "tools/dtldu/dirtree.h"
#include "tools/dtldu/hardlinks.h"
#include "tools/scanreader/queriedscan.h"
#include "tools/scanreader/toolrun.h"

namespace tabulon {

// Adds the files of a scan to sums number `number` of the tree. `links` is null when each name of a
// file counts. Returns false when the scan breaks off.
bool CountScan(const QueriedScan& scan, int number, HardLinks* links, DirTree& tree,
               ReadProgress& progress);

// Tells that a scan breaks off.
void TellBreakOff(const QueriedScan& scan);

}  // namespace tabulon
