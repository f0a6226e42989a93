// The records of the scan that is exported, in their order: all of them, or those of one shard.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "detail/scan.h"
#include "detail/scanrecord.h"
#include "query/filterplan.h"
#include "tools/scanreader/toolrun.h"

namespace tabulon {

// One of `count` parts of a scan. A record belongs to the shard in whose part of the file it
// begins. The parts follow from the file alone, so workers need not know of each other.
struct Shard {
  uint32_t index = 1;  // from 1 to count
  uint32_t count = 1;
};

struct ExportChoice {
  Query query;               // an empty one: every record
  bool directories = false;  // directories as well as files
  Shard shard;
};

// The records that are chosen. Keeps one record and its directory, and allocates nothing for each.
class ScanWalk {
 public:
  // The scan must outlive the walk, and so must the progress, which is told what has been read.
  ScanWalk(const Scan& scan, const ExportChoice& choice, ReadProgress& progress);

  // The next record; null at the end. Valid until the next call.
  const ScanRecord* Next();
  // Stored path of the directory that the record is in, or that it is; empty before the first.
  std::string_view directory() const { return directoryBytes_; }
  // After Next has returned null: false when the scan breaks off without its end marker.
  bool whole() const { return whole_; }

 private:
  bool IsChosen();

  FilterPlan plan_;
  bool directories_;
  ReadProgress& progress_;
  uint64_t begin_ = 0;
  uint64_t end_ = 0;
  bool whole_ = true;
  RecordReader reader_;
  uint64_t position_;
  uint64_t told_;  // position that the progress knows
  ScanRecord record_;
  std::string directoryBytes_;
  RecordText directory_;
};

}  // namespace tabulon
