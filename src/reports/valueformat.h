// Numbers, sizes, times and bit letters as the reports print them. Nothing here allocates while it
// formats: every routine writes into a buffer of its caller and returns a view of the text there,
// which is followed by a zero unit.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <ctime>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "base/memory.h"

namespace tabulon {

// Room for any text of ValueStr, EditValue and the like. The longest has 45 units:
// "16.777.215.999tb (-9,223,372,036,854,775,808)".
inline constexpr size_t kValueTextSize = 64;
using ValueText = std::array<wchar_t, kValueTextSize>;

// Units for one printed time, terminator included: longer dates are cut.
inline constexpr size_t kTimeTextSize = 48;
using TimeText = std::array<wchar_t, kTimeTextSize>;

// The decimal digits of `value` in groups of three. Values of 2^63 and more print as the negative
// number of the same bits, whose sign counts as a digit in the grouping.
std::wstring_view ValueStr(uint64_t value, ValueText& buffer, wchar_t separator);

// A byte count for people: "999,999 bytes", "4.767mb (5,000,000)". The unit changes at powers of
// ten (mb from 10^6, gb from 10^9, tb from 10^12), while the figure in front counts thousandths of
// binary units.
std::wstring_view EditValue(uint64_t value, ValueText& buffer);

// A time (seconds since 1970) in the local zone, by the wcsftime(3) format `format`. Null means
// "%x %X"; "%n" alone prints the number of seconds. Text that does not fit the buffer ends where
// the C library stopped writing. "<invalid>" when the time has no local form.
std::wstring_view FormatFileTime(uint64_t seconds, const wchar_t* format,
                                 std::span<wchar_t> buffer);

// FormatFileTime for many times: the same texts, in kTimeTextSize units, at a fraction of the cost.
// Times of one local day share their date text; only the clock digits are filled in anew. Formats
// in which something else depends on the time of day take the plain way.
class FileTimeFormatter {
 public:
  // `format` as for FormatFileTime, none = its default. Time zone and locale are those of this
  // moment.
  explicit FileTimeFormatter(const std::optional<std::wstring>& format);

  // Valid until the next call.
  std::wstring_view Format(uint64_t seconds);

 private:
  // A stretch of the format that prints the same all day, and the clock field after it (null after
  // the last stretch).
  struct Piece {
    std::wstring dateFormat;
    int std::tm::*clock;
  };
  static constexpr size_t kMostClocks = 8;
  static constexpr size_t kDays = 2048;  // more than five years, without a collision
  struct Day {
    int64_t key;  // of its year and day of the year; 0: none
    size_t length;
    std::array<uint8_t, kMostClocks> clockAt;  // where the clock fields are in the text
    TimeText text;
  };

  bool Split(std::wstring_view format);
  bool Fill(Day& day, const std::tm& local) const;

  std::wstring format_;
  bool rawSeconds_;
  std::vector<Piece> pieces_;
  HugeArray<Day> days_;  // day number n has its place at n % kDays; empty: the plain way
  TimeText plain_{};
};

}  // namespace tabulon
