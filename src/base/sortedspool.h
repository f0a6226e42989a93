// Sorts any number of plain entries within a memory limit: what exceeds it goes to a temporary file
// in sorted runs, which are merged while the entries are read back.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <utility>
#include <vector>

#include "base/memory.h"
#include "base/radixsort.h"
#include "base/sortedruns.h"
#include "base/threads.h"

namespace tabulon {

// `Order` gives the order: `static bool Less(const T&, const T&)`, and if entries are many
// `static uint32_t Bucket(const T&)`, a number below kSortBuckets that never falls from one entry
// to the next in that order.
//
// Many entries are first counted by bucket, then copied to their buckets, then each bucket is
// sorted: two plain passes over all entries, and sorting that stays within the processor's caches.
// Sorting millions of entries as a whole would pass over memory until its parts fit the caches.
inline constexpr uint32_t kSortBuckets = 4096;

template <class T, class Order>
class SortedSpool {
 public:
  // Holds at most `limit` entries in memory (twice that while it sorts); a temporary file is named
  // after `name`.
  SortedSpool(size_t limit, const char* name) : name_(name), entries_(limit), runs_(name) {}

  void Add(const T& entry) {
    if (entries_.full()) SpillRun();
    entries_.Push(entry);
    ++total_;
  }
  uint64_t total() const { return total_; }

  // Ends the adding; the first entry in order is the next to be read. What is in memory is sorted
  // by so many threads.
  void Finish(size_t threads = 1) {
    if (runs_.empty()) return Sort(threads);
    SpillRun();
    entries_.Release();
    runs_.Start();
  }

  // Gives back memory and file. REQUIRES: nothing is read or added any more.
  void Release() {
    entries_.Release();
    runs_ = SortedRuns<Form>(name_);
  }

  // Reads the next entry in order; false after the last one.
  bool Next(T& entry) {
    if (runs_.empty()) {
      if (read_ == entries_.size()) return false;
      entry = entries_[read_++];
      return true;
    }
    const char* next = runs_.Next();
    if (next != nullptr) entry = Load(next);
    return next != nullptr;
  }

 private:
  static T Load(const char* bytes) {
    T entry;
    std::memcpy(&entry, bytes, sizeof entry);
    return entry;
  }
  struct Form {
    static constexpr size_t kHead = sizeof(T);
    size_t Size(const char*) const { return sizeof(T); }
    bool Less(const char* a, const char* b) const { return Order::Less(Load(a), Load(b)); }
  };

  void Sort(size_t threads = 1) {
    if constexpr (requires(const T& entry) { Order::Bucket(entry); }) {
      if (entries_.size() >= kSortBuckets) return SortByBuckets(threads);
    }
    std::sort(entries_.begin(), entries_.end(), Order::Less);
  }

  void SortByBuckets(size_t threads) {
    HugeArray<T> spread(entries_.capacity());
    spread.Resize(entries_.size());
    std::vector<size_t> starts(kSortBuckets + 2);
    Spread(entries_.begin(), entries_.size(), spread.begin(), starts, Order::Bucket);
    constexpr size_t kAtOnce = 16;
    ShareOut(threads, kSortBuckets / kAtOnce, [&](size_t, size_t piece) {
      for (size_t b = piece * kAtOnce; b < (piece + 1) * kAtOnce; ++b) {
        std::sort(spread.begin() + starts[b], spread.begin() + starts[b + 1], Order::Less);
      }
    });
    entries_ = std::move(spread);
  }

  void SpillRun() {
    if (entries_.size() == 0) return;
    Sort();
    runs_.Append(entries_.begin(), entries_.size() * sizeof(T));
    runs_.EndRun();
    entries_.Clear();
  }

  const char* name_;
  HugeArray<T> entries_;
  uint64_t total_ = 0;
  size_t read_ = 0;
  SortedRuns<Form> runs_;
};

}  // namespace tabulon
