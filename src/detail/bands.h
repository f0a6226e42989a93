// Size and date distributions: how many files fall below each limit. The limits come from the
// configuration, the hits from the scan; the summary prints them.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <vector>

#include "detail/recordbatch.h"

namespace tabulon {

// Ascending: sizes in bytes, or times in seconds since 1970.
using BandLimits = std::vector<uint64_t>;

// The limits of all distributions; no limits = no such distribution.
struct DistributionLimits {
  BandLimits sizeBands;   // the last limit is 2^63 - 1 at least, so that every file is counted
  BandLimits cdateBands;  // creation times
  BandLimits mdateBands;  // modification times
  BandLimits adateBands;  // access times
};

// The hits of one distribution. hits[i] counts the files whose place among the limits is i. So a
// file changes one counter only, also where a band shows all files older than its limit;
// SizeBandCount and DateBandCount add up what a band shows.
struct BandTable {
  explicit BandTable(const BandLimits& given) : limits(given), hits(given.size() + 1) {}
  bool empty() const { return limits.empty(); }

  std::span<const uint64_t> limits;  // which must outlive this
  std::vector<uint32_t> hits;        // one more than limits; each wraps at 32 bits
};

// Up to this many limits, the place of a file is found by counting the limits below its value: a
// comparison with each of them, and no branch. A binary search has fewer comparisons, but each may
// be a branch that the processor cannot predict; it pays off only for more limits.
inline constexpr size_t kFewLimits = 16;

// Counts each file by its number of limits that are `below` its value. The limits are filled up to
// `most`, so that the comparisons need no loop.
template <size_t most, class Files, class Value, class Below>
void CountAmong(const Files& files, Value value, Below below, BandTable& bands) {
  std::array<uint64_t, most> limits;
  limits.fill(UINT64_MAX);
  std::ranges::copy(bands.limits, limits.begin());
  const std::span<uint32_t> hits = bands.hits;
  for (const auto& file : files) {
    size_t place = 0;
    for (const uint64_t limit : limits) place += below(limit, std::invoke(value, file)) ? 1 : 0;
    ++hits[place];
  }
}

template <class Files, class Value, class Below>
void Count(const Files& files, Value value, Below below, BandTable& bands) {
  if (bands.empty()) return;
  if (bands.limits.size() <= kFewLimits / 4) {
    CountAmong<kFewLimits / 4>(files, value, below, bands);
  } else if (bands.limits.size() <= kFewLimits / 2) {
    CountAmong<kFewLimits / 2>(files, value, below, bands);
  } else if (bands.limits.size() <= kFewLimits) {
    CountAmong<kFewLimits>(files, value, below, bands);
  } else {
    for (const auto& file : files) {
      const auto isBelow = [&](uint64_t limit) { return below(limit, std::invoke(value, file)); };
      ++bands.hits[static_cast<size_t>(std::ranges::partition_point(bands.limits, isBelow) -
                                       bands.limits.begin())];
    }
  }
}

// Counts each file in the first band whose limit is at least its size; in none when it is above
// all.
template <class Files, class Size>
void UpdateSizeBands(const Files& files, Size size, BandTable& bands) {
  Count(files, size, std::less<uint64_t>(), bands);
}

// Counts each file in every band whose limit is later than its time.
template <class Files, class Time>
void UpdateDateBands(const Files& files, Time time, BandTable& bands) {
  Count(files, time, std::less_equal<uint64_t>(), bands);
}

// Files counted by size band `index`, and files older than date limit `index`.
uint32_t SizeBandCount(const BandTable& bands, size_t index);
uint32_t DateBandCount(const BandTable& bands, size_t index);

// `size` rounded up to a multiple of `fileIncr`, the allocation unit in bytes; 0 when there is none
// (`fileIncr` is 0). Wraps at 64 bits.
inline uint64_t AllocatedSize(uint64_t size, uint32_t fileIncr) {
  return fileIncr > 0 ? (size + fileIncr - 1) / fileIncr * fileIncr : 0;
}

// What is counted for every file of a scan: the distributions and the allocated total.
class FileCounts {
 public:
  // The limits must outlive this.
  FileCounts(const DistributionLimits& limits, uint32_t fileIncr);

  // Whether there is anything to count; most runs ask for nothing.
  bool wanted() const;
  void Add(const RecordBatch& batch);
  // Adds the counts of another part of the scan. REQUIRES: the same limits.
  void Merge(const FileCounts& other);

  uint64_t allocSize() const { return allocSize_; }  // sum of the files' allocated sizes
  const BandTable& sizeBands() const { return sizeBands_; }
  // By creation, modification and access time.
  const std::array<BandTable, 3>& dateBands() const { return dateBands_; }

 private:
  uint32_t fileIncr_;
  uint64_t allocSize_ = 0;
  BandTable sizeBands_;
  std::array<BandTable, 3> dateBands_;
};

}  // namespace tabulon
