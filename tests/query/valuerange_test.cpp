#include "query/valuerange.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "query/filtereval.h"

namespace tabulon {
namespace {

constexpr uint32_t kComparisons[] = {kGreater,     kGreaterOrEqual, kLess,
                                     kLessOrEqual, kEqual,          kNotEqual};

TEST(RangeOf, AgreesWithCompareTest) {
  std::vector<uint64_t> numbers;
  for (const uint64_t edge : {uint64_t{0}, uint64_t{1} << 32, uint64_t{1} << 63}) {
    for (uint64_t distance = 0; distance < 3; ++distance) {
      numbers.push_back(edge + distance);
      numbers.push_back(edge - distance);
    }
  }
  for (const uint32_t comparison : kComparisons) {
    for (const uint64_t number : numbers) {
      const ValueRange range = RangeOf(comparison, number);
      for (const uint64_t value : numbers) {
        EXPECT_EQ(range.Has(value), CompareTest(comparison, value, number))
            << comparison << " " << value << " " << number;
      }
    }
  }
}

TEST(DayRangeOf, AgreesWithCheckDate) {
  constexpr int64_t kDay = kSecondsPerDay;
  constexpr int64_t kLastTime = 0xFFFFFFFF;
  std::vector<int64_t> times;
  for (const int64_t day : {int64_t{0}, kDay, 2 * kDay, kLastTime / kDay * kDay, kLastTime}) {
    for (const int64_t distance : {-2, -1, 0, 1, 2}) times.push_back(day + distance);
  }
  times.push_back(-kDay);
  times.push_back(3 * kLastTime);
  Filter element;
  element.object = kObjMdate;
  for (const uint32_t comparison : kComparisons) {
    element.comparison = comparison;
    for (const int64_t date : times) {
      element.dateValue = date;
      const ValueRange range = DayRangeOf(comparison, date);
      for (const int64_t time : times) {
        if (time < 0 || time > kLastTime) continue;
        EXPECT_EQ(range.Has(static_cast<uint64_t>(time)),
                  CheckDate(element, static_cast<uint32_t>(time), kObjMdate))
            << comparison << " " << time << " " << date;
      }
    }
  }
}

}  // namespace
}  // namespace tabulon
