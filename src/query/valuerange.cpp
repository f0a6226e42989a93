#include "query/valuerange.h"

#include "query/filtereval.h"
#include "query/query.h"

namespace tabulon {
namespace {

constexpr uint64_t kHalf = uint64_t{1} << 63;
constexpr uint64_t kAll = ~uint64_t{0};
constexpr ValueRange kNoTime = {kHalf, 0};  // far from every 32-bit time

}  // namespace

// Values are ordered by the sign of their difference, so half of all numbers are below any number,
// and half are above it.
ValueRange RangeOf(uint32_t comparison, uint64_t number) {
  switch (comparison) {
    case kGreater:
      return {number + 1, kHalf - 2};
    case kGreaterOrEqual:
      return {number, kHalf - 1};
    case kLess:
      return {number - kHalf, kHalf - 1};
    case kLessOrEqual:
      return {number - kHalf, kHalf};
    case kEqual:
      return {number, 0};
    default:
      return {number + 1, kAll - 1};
  }
}

ValueRange DayRangeOf(uint32_t comparison, int64_t date) {
  constexpr int64_t kDay = kSecondsPerDay;
  const int64_t timeOfDay = (date % kDay + kDay) % kDay;
  const auto day = static_cast<uint64_t>(date - timeOfDay);
  const uint64_t nextDay = day + kSecondsPerDay;
  const bool isWholeDay = timeOfDay == 0;  // otherwise no day equals the date
  switch (comparison) {
    case kLess:
    case kGreaterOrEqual:
      return RangeOf(comparison, isWholeDay ? day : nextDay);
    case kLessOrEqual:
      return RangeOf(kLess, nextDay);
    case kGreater:
      return RangeOf(kGreaterOrEqual, nextDay);
    case kEqual:
      return isWholeDay ? ValueRange{day, kSecondsPerDay - 1} : kNoTime;
    default:
      return isWholeDay ? ValueRange{nextDay, kAll - kSecondsPerDay} : ValueRange{0, kAll};
  }
}

}  // namespace tabulon
