// Eight bytes of a text at a time, as one 64-bit word: the lowest byte comes first in the text.
#pragma once

#include <cstdint>
#include <cstring>
#include <string_view>

#include "base/endian.h"

namespace tabulon {

inline constexpr size_t kWordBytes = sizeof(uint64_t);
inline constexpr size_t kWordBits = 8 * kWordBytes;
inline constexpr uint64_t kEveryByte = 0x0101010101010101;
inline constexpr uint64_t kHighBits = 0x80 * kEveryByte;
inline constexpr uint64_t kLowBits = 0x7F * kEveryByte;

// The high bit of each byte of `word` that equals `ascii`. Exact for words of ASCII bytes.
constexpr uint64_t MarksOf(char ascii, uint64_t word) {
  const uint64_t same = kEveryByte * static_cast<unsigned char>(ascii);
  return ~((word ^ same) + kLowBits) & kHighBits;
}

// The high bit of each byte of `word` that is zero or no ASCII; marks above the lowest one may be
// wrong.
constexpr uint64_t MarksOfUnplain(uint64_t word) {
  return ((word - kEveryByte) | word) & kHighBits;
}

// The last eight bytes of a text, the last one highest; zero bytes stand in front of a shorter one.
inline uint64_t TailWord(std::string_view text) {
  const size_t size = text.size();
  const char* bytes = text.data();
  if (size >= kWordBytes) return LoadU64(bytes + size - kWordBytes);
  uint64_t word = 0;
  for (size_t i = 0; i < size; ++i) {
    word |= uint64_t{static_cast<unsigned char>(bytes[i])} << (8 * (kWordBytes - size + i));
  }
  return word;
}

// Lower-cases eight ASCII characters together: bit 7 of each sum tells whether the byte reaches the
// letter, and a quarter of it is the difference between the cases.
constexpr uint64_t LowerWord(uint64_t word) {
  const uint64_t fromA = word + kEveryByte * (0x80 - 'A');
  const uint64_t behindZ = word + kEveryByte * (0x80 - ('Z' + 1));
  return word | (fromA & ~behindZ & kHighBits) >> 2;
}

}  // namespace tabulon
