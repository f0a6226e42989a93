// The values for which a comparison holds, as one range: a test of a record's number is then a
// subtraction and a comparison, whatever the operator.
#pragma once

#include <cstdint>

namespace tabulon {

// A range of 64-bit numbers that may run over the end of the numbers to their start.
struct ValueRange {
  uint64_t low = 0;   // first number
  uint64_t span = 0;  // how many follow it
  bool Has(uint64_t value) const { return value - low <= span; }
};

// The values for which CompareTest(comparison, value, number) holds.
ValueRange RangeOf(uint32_t comparison, uint64_t number);
// The 32-bit times whose whole day compares so with a date (CheckDate); times between days need no
// division that way.
ValueRange DayRangeOf(uint32_t comparison, int64_t date);

}  // namespace tabulon
