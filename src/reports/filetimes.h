// FormatFileTime for many times: the same texts at a fraction of the cost.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/memory.h"
#include "reports/valueformat.h"

namespace tabulon {

// The format is taken apart once. Times of one local day share their date text, which the C library
// makes when the day is first met; only the digits of the clock are filled in anew. The local day
// and the clock come from the zone's distance to UTC, which is kept for each day of UTC, so that
// most times cost a few multiplications and a copy of the text. Days on which the clocks change,
// and formats in which something else depends on the time of day, take the plain way.
class FileTimeFormatter {
 public:
  // `format` as for FormatFileTime, none = its default. Time zone and locale are those of this
  // moment.
  explicit FileTimeFormatter(const std::optional<std::wstring>& format);

  // Writes the text of a time to `out`, which has room for kTimeTextSize bytes, and returns its
  // end; null when Format has to be asked: the text is not all ASCII, or takes the plain way.
  char* Put(uint64_t seconds, char* out);
  // The text. Valid until the next call.
  std::wstring_view Format(uint64_t seconds);

 private:
  // The digits that change within a day.
  enum Clock : uint8_t { kHour, kMinute, kSecond, kHourOfTwelve, kClocks };
  // A stretch of the format that prints the same all day (half of the day when it shows which half
  // it is), and the clock digits after it.
  struct Stretch {
    std::wstring format;
    Clock clock = kClocks;  // kClocks after the last stretch
  };
  static constexpr size_t kMostDigits = 8;  // pairs of them in a format
  static constexpr size_t kDays = 2048;     // more than five years, without a collision
  struct Day {
    uint32_t key;  // its number, from 1; 0: none
    uint8_t length;
    bool ascii;                                 // else its text is wide
    std::array<uint8_t, kMostDigits> digitsAt;  // where the clock digits are in the text
    std::array<char, kTimeTextSize> text;       // not ended by a zero byte
  };
  static_assert(sizeof(Day) == 64);
  // The clock of a time, by Clock.
  using ClockValues = std::array<uint8_t, kClocks>;

  bool Split(std::wstring_view format);
  const Day* Find(uint64_t seconds, ClockValues& clock);
  bool Fill(uint64_t seconds, uint32_t key, Day& day);

  std::wstring format_;
  bool rawSeconds_;
  bool halfDays_ = false;  // the date text is that of half a day
  std::vector<Stretch> stretches_;
  std::array<Clock, kMostDigits> clocks_{};  // of the stretches
  size_t clockCount_ = 0;
  // For each day of UTC since 1970: local time less UTC, in seconds, and kDistanceBias; or one of
  // the marks below that.
  HugeArray<int32_t> distances_;
  HugeArray<Day> days_;       // day number n has its place at n % kDays; empty: the plain way
  HugeArray<TimeText> wide_;  // the texts of the days that are not all ASCII
  TimeText plain_{};
};

}  // namespace tabulon
