#include "tools/dtlexport/scan.h"

#include "tools/scanreader/toolrun.h"

namespace tabulon {
namespace {

// Where shard number `index` ends and the next one begins.
uint64_t EndOfShard(const Scan& scan, uint32_t index, uint32_t count) {
  const uint64_t firstRecord = scan.logRoot.firstRecord;
  const uint64_t room = AssumedRecordsEnd(scan) - firstRecord;
  return firstRecord + room / count * index + room % count * index / count;
}

}  // namespace

ScanWalk::ScanWalk(const Scan& scan, const ExportChoice& choice, ReadProgress& progress)
    : plan_(choice.query, scan),
      directories_(choice.directories),
      progress_(progress),
      reader_(scan),
      position_(scan.logRoot.firstRecord),
      told_(position_) {
  const Shard& shard = choice.shard;
  if (shard.index > 1) begin_ = EndOfShard(scan, shard.index - 1, shard.count);
  end_ = shard.index < shard.count ? EndOfShard(scan, shard.index, shard.count) : ~uint64_t{0};
  record_.directory = &directory_;
}

// Reads and skips the records before the shard's first one, since its directory is among them.
const ScanRecord* ScanWalk::Next() {
  while (position_ < end_) {
    if (!reader_.Read(position_, record_.view)) {
      whole_ = reader_.atEndMarker();
      return nullptr;
    }
    if (record_.fields().isDirectory()) {
      directoryBytes_.assign(record_.view.name);
      directory_.Assign(directoryBytes_);
      record_.directoryPosition = position_;
      progress_.Add(position_ - told_);
      told_ = position_;
    }
    const bool mine = position_ >= begin_;
    position_ = record_.view.next;
    if (mine && IsChosen()) return &record_;
  }
  return nullptr;
}

bool ScanWalk::IsChosen() {
  if (record_.fields().isDirectory() && !directories_) return false;
  record_.name.Assign(record_.view.name);
  if (record_.view.hasTarget) record_.target.Assign(record_.view.target);
  return plan_.Passes(record_);
}

}  // namespace tabulon
