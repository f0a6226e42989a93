// Date values of queries and date bands: relative ("30d", "2w", "6m", "1y") or absolute
// ("YYYYMMDD", "YYYYMMDDhhmmss"). Results are local wall-clock seconds since 1970-01-01, the
// reckoning of the day tests that use them.
#pragma once

#include <cstdint>
#include <ctime>
#include <string_view>

#include "detail/scan.h"

namespace tabulon {

inline constexpr uint32_t kSecondsPerDay = 86'400;

// What relative dates count back from: with `scanDateRelative` 1 the scan time of the detail file,
// with 0 the current time.
std::time_t DateBase(const Scan& scan, int scanDateRelative);

// Converts a date value; returns true and stores seconds, or false when the text is no date.
// A relative value counts whole days, weeks of 7 days, calendar months before the base month, or
// years of 365 days back from local midnight of the base day; the number before the letter (none:
// 0) wraps at 64 bits.
bool ConvertDateValue(std::wstring_view text, std::time_t base, int64_t& result);
// The absolute forms alone: years 1970 to 2037; a missing time of day is midnight.
bool ConvertNumericDateValue(std::wstring_view text, int64_t& result);

}  // namespace tabulon
