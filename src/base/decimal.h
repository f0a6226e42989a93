// Decimal digits written by hand: two at a time from a table, without a call.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace tabulon {

// Most bytes that PutDecimal and PutSigned write: the digits of 2^64, or a sign and those of 2^63.
inline constexpr size_t kLongestDecimal = 20;

// "000102...99"
inline constexpr std::array<char, 200> kTwoDigits = [] {
  std::array<char, 200> digits{};
  for (size_t i = 0; i < digits.size(); ++i) {
    const size_t digit = i % 2 == 0 ? i / 20 : i / 2 % 10;
    digits[i] = static_cast<char>('0' + digit);
  }
  return digits;
}();

// Writes `value`, which is below 100, with two digits; returns the end.
inline char* PutTwoDigits(char* out, size_t value) {
  __builtin_memcpy(out, &kTwoDigits[2 * value], 2);
  return out + 2;
}

namespace decimal_internal {

// 10^n, but 0 for 10^0: zero has a digit.
inline constexpr std::array<uint64_t, 20> kPowers = [] {
  std::array<uint64_t, 20> powers{};
  uint64_t power = 1;
  for (size_t n = 1; n < powers.size(); ++n) powers[n] = power *= 10;
  return powers;
}();

// The binary logarithm gives the number of digits but for one, which the table decides (1233/4096
// is a little more than log10(2)).
inline size_t CountDigits(uint64_t value) {
  const auto bits = static_cast<size_t>(64 - __builtin_clzll(value | 1));
  const size_t digits = bits * 1233 >> 12;
  return digits + (value >= kPowers[digits] ? 1 : 0);
}

template <class Unsigned>
void PutDigitsBefore(char* end, Unsigned value) {
  while (value >= 100) {
    end -= 2;
    PutTwoDigits(end, static_cast<size_t>(value % 100));
    value /= 100;
  }
  if (value >= 10) {
    PutTwoDigits(end - 2, static_cast<size_t>(value));
  } else {
    end[-1] = static_cast<char>('0' + value);
  }
}

}  // namespace decimal_internal

// Writes the digits of `value`; returns the end.
inline char* PutDecimal(char* out, uint64_t value) {
  char* const end = out + decimal_internal::CountDigits(value);
  if (value <= UINT32_MAX) {
    decimal_internal::PutDigitsBefore(end, static_cast<uint32_t>(value));
  } else {
    decimal_internal::PutDigitsBefore(end, value);
  }
  return end;
}
inline char* PutSigned(char* out, int64_t value) {
  if (value >= 0) return PutDecimal(out, static_cast<uint64_t>(value));
  *out++ = '-';
  return PutDecimal(out, 0 - static_cast<uint64_t>(value));
}

}  // namespace tabulon
