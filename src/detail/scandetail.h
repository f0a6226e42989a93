// The one pass over the records: counts the size and date bands and the allocated total, and offers
// the records to the reports.
#pragma once

#include <cstdint>

#include "detail/pass.h"

namespace tabulon {

extern uint32_t fileIncr;   // allocation unit in bytes, 0 = none; set by the configuration
extern uint64_t allocSize;  // sum of the allocated sizes of all files of the scan
extern bool progressFlag;   // -p: progress marks on standard output

// `size` rounded up to a multiple of the allocation unit; 0 when there is none. Wraps at 64 bits.
inline uint64_t AllocatedSize(uint64_t size) {
  return fileIncr > 0 ? (size + fileIncr - 1) / fileIncr * fileIncr : 0;
}

// How far the records of a scan went.
struct PassEnd {
  uint64_t records = 0;
  bool atEndMarker = false;  // false: the file breaks off before it
};

// Reads every record of the scan once, in file order, and offers it to `sink` in a batch of at most
// `most` records.
PassEnd ScanDetail(const Scan& scan, const BatchSink& sink, size_t most = RecordBatch::kMost);

}  // namespace tabulon
