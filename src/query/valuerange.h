// The values for which a comparison holds, as one range. A test of a record's number is then one
// subtraction and one comparison for every operator: no switch and no branch in the loop.
#pragma once

#include <cstdint>

namespace tabulon {

// A range of 64-bit numbers. It may go on from the highest number to 0.
struct ValueRange {
  uint64_t low = 0;   // first number
  uint64_t span = 0;  // how many follow it
  bool Has(uint64_t value) const { return value - low <= span; }
};

// The values for which CompareTest(comparison, value, number) holds.
ValueRange RangeOf(uint32_t comparison, uint64_t number);
// The 32-bit times whose whole day compares so with a date (CheckDate). With the range, a test need
// not divide the time to find its day.
ValueRange DayRangeOf(uint32_t comparison, int64_t date);

}  // namespace tabulon
