// The one pass over the records of a scan.
#pragma once

#include <cstdint>
#include <span>

#include "detail/pass.h"

namespace tabulon {

// How threads share the pass. Tests choose odd numbers of them and small blocks.
struct PassShare {
  size_t threads = 0;              // 0: as many as ThreadsFor finds useful
  size_t block = size_t{1} << 20;  // bytes of the file that a thread takes at a time
};

struct PassOptions {
  size_t most = RecordBatch::kMost;  // records of a batch at most
  bool progressFlag = false;         // -p: progress marks on standard output
  size_t block = PassShare().block;  // bytes that a thread takes at a time
};

// How far the records of a scan went.
struct PassEnd {
  uint64_t records = 0;
  bool atEndMarker = false;  // false: the file breaks off before it
};

// How many threads read a scan, 1 to kMostThreads: the processors that the process may use, one for
// a small file.
size_t ThreadsFor(const Scan& scan, const PassShare& share);

// Reads every record of the scan once, in file order, and offers it to `sink` in a batch.
PassEnd ScanDetail(const Scan& scan, const BatchSink& sink, const PassOptions& options = {});
// The same with a thread for each sink. Every record goes to one of them: each gets its batches in
// file order, with gaps where others got some.
PassEnd ScanDetail(const Scan& scan, std::span<const BatchSink> sinks, const PassOptions& options);

}  // namespace tabulon
