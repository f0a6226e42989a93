// Size and date distributions: how many files fall below each limit. The tables get their limits
// from the configuration, are counted by the scan and printed by the summary.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace tabulon {

// One distribution. hits[i] counts the files whose place among the limits is i. So a file changes
// one counter only, also where a band shows all files older than its limit; SizeBandCount and
// DateBandCount add up what a band shows.
struct BandTable {
  std::vector<uint64_t> limits;  // ascending: sizes in bytes, or times in seconds since 1970
  std::vector<uint32_t> hits;    // one more than limits; each wraps at 32 bits

  void SetLimits(std::vector<uint64_t> values);
  bool empty() const { return limits.empty(); }
  size_t count() const { return limits.size(); }
};

// Set by the configuration's band lines; empty = no such distribution.
extern BandTable sizeBands;   // the last limit is 2^63 - 1 at least, so that every file is
                              // counted
extern BandTable cdateBands;  // creation times
extern BandTable mdateBands;  // modification times
extern BandTable adateBands;  // access times

// Up to this many limits, the place of a file is found by counting the limits below its value: a
// comparison with each of them, and no branch. A binary search has fewer comparisons, but each may
// be a branch that the processor cannot predict; it pays off only for more limits.
inline constexpr size_t kFewLimits = 16;

// Counts one file in the first band whose limit is at least `size`; none when it is above all.
inline void UpdateSizeBands(uint64_t size) {
  const std::vector<uint64_t>& limits = sizeBands.limits;
  size_t place = 0;
  if (limits.size() <= kFewLimits) {
    for (const uint64_t limit : limits) place += limit < size ? 1 : 0;
  } else {
    place =
        static_cast<size_t>(std::lower_bound(limits.begin(), limits.end(), size) - limits.begin());
  }
  ++sizeBands.hits[place];
}

// Counts one file in every band whose limit is later than `time`.
inline void UpdateDateBands(uint32_t time, BandTable& bands) {
  const std::vector<uint64_t>& limits = bands.limits;
  size_t place = 0;
  if (limits.size() <= kFewLimits) {
    for (const uint64_t limit : limits) place += limit <= time ? 1 : 0;
  } else {
    place =
        static_cast<size_t>(std::upper_bound(limits.begin(), limits.end(), time) - limits.begin());
  }
  ++bands.hits[place];
}

// Files counted by size band `index`, and files older than date limit `index`.
uint32_t SizeBandCount(size_t index);
uint32_t DateBandCount(const BandTable& bands, size_t index);

// Forgets all distributions.
void ResetBands();

}  // namespace tabulon
