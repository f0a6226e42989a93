#include "query/datevalue.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <ctime>
#include <cwctype>
#include <numeric>
#include <string_view>

namespace tabulon {

namespace {

// Counts from here on are all alike: no time is so many days from 1970 (188 million years). No
// interval below overflows.
constexpr uint64_t kCountedUnits = uint64_t{1} << 36;
constexpr long kHourSeconds = 3'600;
constexpr int kFirstYear = 1970;
constexpr int kLastYear = 2037;
constexpr size_t kDayLength = 8;          // YYYYMMDD
constexpr size_t kDayAndTimeLength = 14;  // YYYYMMDDhhmmss

using MonthLengths = std::array<uint64_t, 12>;

// The lengths that count when `year` is the year looked at: every fourth year has a 29 February.
MonthLengths MonthLengthsOf(int year) {
  return {31, year % 4 == 0 ? 29U : 28U, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
}

// Seconds west of UTC. Summer time moves them an hour away from zero, which is the wrong way from
// Greenwich to the west: date values are two hours early there while summer time lasts. Kept so.
int64_t ZoneOffset(bool summerTime) {
  tzset();
  const long offset = timezone;
  if (!summerTime) return offset;
  return offset < 0 ? offset - kHourSeconds : offset + kHourSeconds;
}

// Local time to wall-clock seconds; the system finds out whether summer time is in force. Fields
// out of range carry. False when the C library cannot tell the time.
bool WallClockSeconds(std::tm when, int64_t& result) {
  when.tm_isdst = -1;
  when.tm_wday = -1;  // filled in by every mktime that succeeds; -1 seconds is a time as well
  const std::time_t seconds = std::mktime(&when);
  if (when.tm_wday < 0) return false;
  result = int64_t{seconds} - ZoneOffset(when.tm_isdst > 0);
  return true;
}

// Total length of the `months` whole months before the base month. Whole years are taken at once,
// so that any number ends soon; every February has the length it has in the base year.
uint64_t MonthSeconds(uint64_t months, const std::tm& base) {
  const MonthLengths lengths = MonthLengthsOf(base.tm_year + 1900);
  uint64_t days = months / 12 * std::accumulate(lengths.begin(), lengths.end(), uint64_t{0});
  auto month = static_cast<size_t>(base.tm_mon);
  for (uint64_t left = months % 12; left > 0; --left) {
    month = (month + 11) % 12;
    days += lengths[month];
  }
  return days * kSecondsPerDay;
}

// The interval that `count` units of the kind `letter` take; false for an unknown letter.
bool Interval(wchar_t letter, uint64_t count, const std::tm& base, uint64_t& seconds) {
  switch (std::towlower(static_cast<wint_t>(letter))) {
    case L'd':
      seconds = count * kSecondsPerDay;
      return true;
    case L'w':
      seconds = count * 7 * kSecondsPerDay;
      return true;
    case L'm':
      seconds = MonthSeconds(count, base);
      return true;
    case L'y':
      seconds = count * 365 * kSecondsPerDay;
      return true;
    default:
      return false;
  }
}

bool RelativeDate(wchar_t letter, uint64_t count, std::time_t baseTime, int64_t& result) {
  std::tm base;
  if (localtime_r(&baseTime, &base) == nullptr) return false;
  uint64_t interval = 0;
  if (!Interval(letter, count, base, interval)) return false;
  base.tm_hour = base.tm_min = base.tm_sec = 0;
  int64_t midnight = 0;
  if (!WallClockSeconds(base, midnight)) return false;
  if (midnight < 0 || static_cast<uint64_t>(midnight) < interval) return false;
  result = midnight - static_cast<int64_t>(interval);
  return true;
}

// Takes the number at the front of `text` off it; kCountedUnits for a larger one.
uint64_t TakeCount(std::wstring_view& text) {
  uint64_t count = 0;
  for (; !text.empty() && text[0] >= L'0' && text[0] <= L'9'; text.remove_prefix(1)) {
    count = std::min(count * 10 + static_cast<uint64_t>(text[0] - L'0'), kCountedUnits);
  }
  return count;
}

// The number of two digits at `at`; -1 when one of them is no digit.
int TwoDigits(std::wstring_view text, size_t at) {
  const auto digit = [&](size_t i) { return text[i] >= L'0' && text[i] <= L'9'; };
  if (!digit(at) || !digit(at + 1)) return -1;
  return static_cast<int>((text[at] - L'0') * 10 + (text[at + 1] - L'0'));
}

bool Between(int value, int low, int high) {
  return low <= value && value <= high;
}

bool ReadDay(std::wstring_view text, std::tm& when) {
  const int century = TwoDigits(text, 0);
  const int yearOfCentury = TwoDigits(text, 2);
  if (century < 0 || yearOfCentury < 0) return false;
  const int year = century * 100 + yearOfCentury;
  const int month = TwoDigits(text, 4);
  const int day = TwoDigits(text, 6);
  if (!Between(year, kFirstYear, kLastYear) || !Between(month, 1, 12)) return false;
  const uint64_t length = MonthLengthsOf(year)[static_cast<size_t>(month - 1)];
  when.tm_year = year - 1900;
  when.tm_mon = month - 1;
  when.tm_mday = day;
  return Between(day, 1, static_cast<int>(length));
}

// Two characters that are no number count as -1, which carries to the unit before. Kept so.
bool ReadTimeOfDay(std::wstring_view text, std::tm& when) {
  when.tm_hour = TwoDigits(text, 8);
  when.tm_min = TwoDigits(text, 10);
  when.tm_sec = TwoDigits(text, 12);
  return when.tm_hour <= 23 && when.tm_min <= 59 && when.tm_sec <= 59;
}

}  // namespace

std::time_t DateBase(const Scan& scan, int scanDateRelative) {
  return scanDateRelative == 1 ? std::time_t{scan.logHdr.scanTime} : std::time(nullptr);
}

bool ConvertDateValue(std::wstring_view text, std::time_t baseTime, int64_t& result) {
  std::wstring_view unit = text;
  const uint64_t count = TakeCount(unit);
  if (unit.empty()) return ConvertNumericDateValue(text, result);
  return unit.size() == 1 && RelativeDate(unit[0], count, baseTime, result);
}

bool ConvertNumericDateValue(std::wstring_view text, int64_t& result) {
  std::tm when{};
  if (text.size() != kDayLength && text.size() != kDayAndTimeLength) return false;
  if (!ReadDay(text, when)) return false;
  if (text.size() == kDayAndTimeLength && !ReadTimeOfDay(text, when)) return false;
  return WallClockSeconds(when, result);
}

}  // namespace tabulon
