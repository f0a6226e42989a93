// The pass over the records as the reports see it: each record is offered to every active report,
// which counts it, groups it, or notes where it stands for the listing that is written later.
#pragma once

#include <cstdint>

#include "detail/scan.h"
#include "detail/scandetail.h"

namespace tabulon {

// What a listing report keeps of a matching record.
struct PositionPair {
  uint64_t record;     // file offset of the record
  uint64_t directory;  // file offset of the directory record that was current
};
static_assert(sizeof(PositionPair) == 16);

// Reads the scan once for all reports of `reportList`; returns how far its records went.
PassEnd ScanReports(const Scan& scan);

}  // namespace tabulon
