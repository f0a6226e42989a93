// Size and date distributions: how many files fall below each limit. The tables are filled with
// limits by the configuration, counted by the scan, printed by the summary.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace tabulon {

// One distribution. While the scan runs, count[i] holds the records whose place among the limits is
// i, so that one record touches one counter; BandCount turns that into what a band shows.
struct BandTable {
  std::vector<uint64_t> limits;  // ascending: sizes in bytes, or times in seconds since 1970
  std::vector<uint32_t> hits;    // one more than limits; wraps at 32 bits

  void SetLimits(std::vector<uint64_t> values);
  bool empty() const { return limits.empty(); }
  int count() const { return static_cast<int>(limits.size()); }
};

// Set by the configuration's band lines; empty = no such distribution.
extern BandTable sizeBands;   // the last limit is 2^63 - 1, so that every file is counted
extern BandTable cdateBands;  // creation times
extern BandTable mdateBands;  // modification times
extern BandTable adateBands;  // access times

// Counts one file in the first band whose limit is at least `size` (none when it is above all).
void UpdateSizeBands(uint64_t size);
// Counts one file in every band whose limit is later than `time`.
void UpdateDateBands(uint32_t time, BandTable& bands);

// Files counted by size band `index`, and files older than date limit `index`.
uint32_t SizeBandCount(size_t index);
uint32_t DateBandCount(const BandTable& bands, size_t index);

}  // namespace tabulon
