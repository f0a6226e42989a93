// Sorts any number of plain entries within a memory limit: what exceeds it goes to a temporary file
// in sorted runs, which are merged while the entries are read back.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

#include "base/fileio.h"
#include "base/loganderr.h"
#include "base/memory.h"
#include "base/tempfile.h"

namespace tabulon {

// `Order` gives the order: `static bool Less(const T&, const T&)`, and
// `static uint32_t Bucket(const T&)`, a number below kSortBuckets that never falls from one entry
// to the next in that order (a constant will do).
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
  SortedSpool(size_t limit, const char* name) : name_(name), entries_(limit) {}

  void Add(const T& entry) {
    if (entries_.full()) SpillRun();
    entries_.Push(entry);
    ++total_;
  }
  uint64_t total() const { return total_; }

  // Ends the adding; the first entry in order is the next to be read.
  void Finish() {
    if (runs_.empty()) {
      Sort();
      return;
    }
    SpillRun();
    entries_.Release();
    for (size_t i = 0; i < runs_.size(); ++i) {
      if (Fill(runs_[i])) heap_.push_back(i);
    }
    std::make_heap(heap_.begin(), heap_.end(), Later());
  }

  // Gives back memory and file. REQUIRES: nothing is read or added any more.
  void Release() {
    entries_.Release();
    runs_.clear();
    heap_.clear();
    file_.Remove();
  }

  // Reads the next entry in order; false after the last one.
  bool Next(T& entry) {
    if (runs_.empty()) {
      if (read_ == entries_.size()) return false;
      entry = entries_[read_++];
      return true;
    }
    if (heap_.empty()) return false;
    std::pop_heap(heap_.begin(), heap_.end(), Later());
    Run& run = runs_[heap_.back()];
    entry = run.buffer[run.at++];
    if (run.at < run.buffer.size() || Fill(run)) {
      std::push_heap(heap_.begin(), heap_.end(), Later());
    } else {
      heap_.pop_back();
    }
    return true;
  }

 private:
  struct Run {
    off_t offset;           // of the next entry to be read from the file
    uint64_t left;          // entries still in the file
    std::vector<T> buffer;  // entries taken from it
    size_t at = 0;          // next entry of the buffer
  };
  static constexpr size_t kRunBuffer = std::max<size_t>(64 * 1024 / sizeof(T), 1);

  // Heap order of runs by their next entries: the lowest on top.
  auto Later() const {
    return [this](size_t a, size_t b) {
      return Order::Less(runs_[b].buffer[runs_[b].at], runs_[a].buffer[runs_[a].at]);
    };
  }

  void Sort() {
    if (entries_.size() < kSortBuckets) {
      std::sort(entries_.begin(), entries_.end(), Order::Less);
      return;
    }
    std::vector<size_t> ends(kSortBuckets + 1, 0);
    for (const T& entry : entries_) ++ends[Order::Bucket(entry) + 1];
    for (uint32_t b = 0; b < kSortBuckets; ++b) ends[b + 1] += ends[b];
    if (ends[1] == entries_.size()) {
      std::sort(entries_.begin(), entries_.end(), Order::Less);
      return;
    }
    HugeArray<T> spread(entries_.capacity());
    spread.Resize(entries_.size());
    std::vector<size_t> next(ends.begin(), ends.end() - 1);
    for (const T& entry : entries_) spread[next[Order::Bucket(entry)]++] = entry;
    for (uint32_t b = 0; b < kSortBuckets; ++b) {
      std::sort(spread.begin() + ends[b], spread.begin() + ends[b + 1], Order::Less);
    }
    entries_ = std::move(spread);
  }

  void SpillRun() {
    if (entries_.size() == 0) return;
    if (!file_.valid()) {
      file_ = TempFile::Create(name_, 0600);
      if (!file_.valid()) PosixErrExit(0, L"Unable to create temporary file '%s'\n", file_.path());
    }
    Sort();
    const size_t bytes = entries_.size() * sizeof(T);
    if (!WriteFullyAt(file_.fd(), entries_.begin(), bytes, end_)) {
      PosixErrExit(0, L"Error writing '%s'\n", file_.path());
    }
    runs_.push_back({end_, entries_.size(), {}, 0});
    end_ += static_cast<off_t>(bytes);
    entries_.Clear();
  }

  // Takes the run's next entries from the file; false when it has no more.
  bool Fill(Run& run) {
    const size_t count = static_cast<size_t>(std::min<uint64_t>(run.left, kRunBuffer));
    if (count == 0) return false;
    run.buffer.resize(count);
    run.at = 0;
    const size_t bytes = count * sizeof(T);
    if (ReadFullyAt(file_.fd(), run.buffer.data(), bytes, run.offset) !=
        static_cast<ssize_t>(bytes)) {
      PosixErrExit(0, L"Error reading '%s'\n", file_.path());
    }
    run.offset += static_cast<off_t>(bytes);
    run.left -= count;
    return true;
  }

  const char* name_;
  HugeArray<T> entries_;
  uint64_t total_ = 0;
  size_t read_ = 0;
  TempFile file_;
  off_t end_ = 0;
  std::vector<Run> runs_;
  std::vector<size_t> heap_;
};

}  // namespace tabulon
