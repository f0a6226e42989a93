// The one pass over the records of a scan.
#pragma once

#include <cstdint>

#include "detail/pass.h"

namespace tabulon {

struct PassOptions {
  size_t most = RecordBatch::kMost;  // records of a batch at most
  bool progressFlag = false;         // -p: progress marks on standard output
};

// How far the records of a scan went.
struct PassEnd {
  uint64_t records = 0;
  bool atEndMarker = false;  // false: the file breaks off before it
};

// Reads every record of the scan once, in file order, and offers it to `sink` in a batch.
PassEnd ScanDetail(const Scan& scan, const BatchSink& sink, const PassOptions& options = {});

}  // namespace tabulon
