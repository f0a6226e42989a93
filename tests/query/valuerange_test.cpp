#include "query/valuerange.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <initializer_list>
#include <vector>

#include "query/filtereval.h"

namespace tabulon {
namespace {

constexpr uint32_t kComparisons[] = {kGreater,     kGreaterOrEqual, kLess,
                                     kLessOrEqual, kEqual,          kNotEqual};

// Numbers up to two away from each of these.
std::vector<uint64_t> Around(std::initializer_list<uint64_t> edges) {
  std::vector<uint64_t> numbers;
  for (const uint64_t edge : edges) {
    for (uint64_t i = 0; i < 5; ++i) numbers.push_back(edge + i - 2);
  }
  return numbers;
}

TEST(Ranges, AgreeWithTheTests) {
  constexpr uint64_t kDay = kSecondsPerDay, kLast = 0xFFFFFFFF;
  const auto numbers = Around({0, uint64_t{1} << 32, uint64_t{1} << 63});
  const auto times = Around({0, kDay, 2 * kDay, kLast / kDay * kDay, kLast, 3 * kLast, -kDay});
  Filter element;
  element.object = kObjMdate;
  for (const uint32_t comparison : kComparisons) {
    for (const uint64_t number : numbers) {
      for (const uint64_t value : numbers) {
        EXPECT_EQ(RangeOf(comparison, number).Has(value), CompareTest(comparison, value, number))
            << comparison << " " << value << " " << number;
      }
    }
    element.comparison = comparison;
    for (const uint64_t date : times) {
      element.dateValue = static_cast<int64_t>(date);
      const ValueRange range = DayRangeOf(comparison, element.dateValue);
      for (const uint64_t time : times) {
        if (time > kLast) continue;
        EXPECT_EQ(range.Has(time), CheckDate(element, static_cast<uint32_t>(time), kObjMdate))
            << comparison << " " << time << " " << date;
      }
    }
  }
}

}  // namespace
}  // namespace tabulon
