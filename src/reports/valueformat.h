// Numbers, sizes, times and bit letters as the reports print them. Nothing here allocates while it
// formats: every routine writes into a buffer of its caller and returns a view of the text there,
// which is followed by a zero unit.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

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
inline constexpr const wchar_t* kDefaultTimeFormat = L"%x %X";
inline constexpr std::wstring_view kRawSeconds = L"%n";

}  // namespace tabulon
