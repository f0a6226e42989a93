// Plain entries kept in numbered partitions within a memory limit: what exceeds it goes to a
// temporary file. Work on many entries that jumps about in memory, such as looking for equal ones,
// is done partition by partition, each of which fits the processor's caches.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <vector>

#include "base/fileio.h"
#include "base/loganderr.h"
#include "base/memory.h"
#include "base/prefetch.h"
#include "base/tempfile.h"

namespace tabulon {

// Each partition is a chain of chunks, which all come from one array: adding an entry is a store,
// and now and then a step in that array. When the array is used up, all entries are written out,
// those of a partition in one piece.
template <class T>
class DupPartitions {
 public:
  // Holds about `limit` entries in memory.
  DupPartitions(size_t partitions, size_t limit)
      : chunk_(std::clamp<size_t>(limit / (partitions * 4), 1, kLargestChunk)),
        mostChunks_((limit + chunk_ - 1) / chunk_),
        partitions_(partitions),
        entries_(mostChunks_ * chunk_) {}

  size_t size() const { return partitions_.size(); }
  void Add(size_t partition, const T& entry) {
    Partition& to = partitions_[partition];
    if (to.left == 0) TakeChunk(to);
    --to.left;
    *to.at++ = entry;
  }
  // How many entries a partition has.
  uint64_t Count(size_t partition) const {
    const Partition& from = partitions_[partition];
    uint64_t count = InMemory(from);
    for (const Extent& extent : from.extents) count += extent.count;
    return count;
  }
  // Calls use(std::span<const T>) for some entries of the partition after the others, in the order
  // of their adding. Threads may do so side by side. REQUIRES: nothing is added meanwhile.
  template <class Use>
  void ForEach(size_t partition, Use&& use) const {
    const Partition& from = partitions_[partition];
    for (const Extent& extent : from.extents) ReadExtent(extent, use);
    ForEachChunk(from, use);
  }
  // Appends the entries of the partition to `out`.
  void Read(size_t partition, std::vector<T>& out) const {
    ForEach(partition,
            [&](std::span<const T> some) { out.insert(out.end(), some.begin(), some.end()); });
  }
  // Gives back memory and file. REQUIRES: nothing is read or added any more.
  void Release() {
    entries_.Release();
    partitions_.clear();
    chunkAfter_ = {};
    file_.Remove();
  }

 private:
  // Entries of one partition in the file.
  struct Extent {
    off_t offset;
    uint64_t count;
  };
  struct Partition {
    T* at = nullptr;      // where the next entry goes
    uint32_t left = 0;    // room in the last chunk, entries
    uint32_t chunks = 0;  // in memory
    uint32_t first = 0;   // the number of the first one
    uint32_t last = 0;    // the number of the last one
    std::vector<Extent> extents;
  };
  // Four kilobytes, so that many partitions with a chunk begun take little memory.
  static constexpr size_t kLargestChunk = std::max<size_t>(4096 / sizeof(T), 1);
  static constexpr size_t kMovedAtOnce = std::max<size_t>(256 * 1024 / sizeof(T), 1);

  size_t InMemory(const Partition& from) const { return from.chunks * chunk_ - from.left; }

  void TakeChunk(Partition& to) {
    if (chunkAfter_.size() == mostChunks_) Spill();
    const auto chunk = static_cast<uint32_t>(chunkAfter_.size());
    chunkAfter_.push_back(0);
    (to.chunks++ == 0 ? to.first : chunkAfter_[to.last]) = chunk;
    to.last = chunk;
    to.left = static_cast<uint32_t>(chunk_);
    to.at = entries_.begin() + chunk * chunk_;
  }

  template <class Use>
  void ForEachChunk(const Partition& from, Use&& use) const {
    uint32_t chunk = from.first;
    for (uint32_t i = 1; i <= from.chunks; ++i) {
      if (i < from.chunks) PrefetchStart(entries_.begin() + chunkAfter_[chunk] * chunk_);
      use(std::span<const T>(entries_.begin() + chunk * chunk_,
                             chunk_ - (i == from.chunks ? from.left : 0)));
      chunk = chunkAfter_[chunk];
    }
  }

  template <class Use>
  void ReadExtent(Extent extent, Use&& use) const {
    std::vector<T> some(std::min<uint64_t>(extent.count, kMovedAtOnce));
    while (extent.count > 0) {
      some.resize(std::min<uint64_t>(extent.count, kMovedAtOnce));
      const size_t bytes = some.size() * sizeof(T);
      if (!ReadExactlyAt(file_.fd(), some.data(), bytes, extent.offset)) {
        PosixErrExit(0, L"Error reading '%s'\n", file_.path());
      }
      use(std::span<const T>(some));
      extent.offset += static_cast<off_t>(bytes);
      extent.count -= some.size();
    }
  }

  void Spill() {
    if (!file_.valid()) file_ = TempFile::Create("dups.tmp");
    if (!file_.valid()) ErrExit(L"Unable to create duplicate tree temp file\n");
    std::vector<T> pending;
    pending.reserve(std::min(kMovedAtOnce, entries_.capacity()) + chunk_);
    for (Partition& from : partitions_) {
      if (from.chunks == 0) continue;
      const uint64_t count = InMemory(from);
      from.extents.push_back({end_ + static_cast<off_t>(pending.size() * sizeof(T)), count});
      ForEachChunk(from, [&](std::span<const T> some) {
        pending.insert(pending.end(), some.begin(), some.end());
        if (pending.size() >= kMovedAtOnce) Write(pending);
      });
      from.left = from.chunks = 0;
    }
    Write(pending);
    chunkAfter_.clear();
  }

  void Write(std::vector<T>& pending) {
    const size_t bytes = pending.size() * sizeof(T);
    if (!WriteFullyAt(file_.fd(), pending.data(), bytes, end_)) {
      PosixErrExit(0, L"Error writing '%s'\n", file_.path());
    }
    end_ += static_cast<off_t>(bytes);
    pending.clear();
  }

  size_t chunk_;  // entries of a chunk
  size_t mostChunks_;
  std::vector<Partition> partitions_;
  HugeArray<T> entries_;
  std::vector<uint32_t> chunkAfter_;  // in its partition, by chunk
  TempFile file_;
  off_t end_ = 0;  // of the file
};

}  // namespace tabulon
