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

// The high bit of each byte of `word` that equals `ascii`: only such a byte is zero after the
// exclusive or, and adding 0x7F to it does not reach the high bit. Exact for words of ASCII bytes.
constexpr uint64_t MarksOf(char ascii, uint64_t word) {
  const uint64_t same = kEveryByte * static_cast<unsigned char>(ascii);
  return ~((word ^ same) + kLowBits) & kHighBits;
}

// The high bit of each byte of `word` that is zero or not ASCII. Only the lowest mark is reliable:
// the subtraction borrows from the bytes above a zero byte.
constexpr uint64_t MarksOfUnplain(uint64_t word) {
  return ((word - kEveryByte) | word) & kHighBits;
}

// The last eight bytes of a text, the last one highest; zero bytes precede a shorter text. Tests
// for an ending (".jpg") and the search for the last dot need only this word.
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

// Lower-cases eight ASCII characters together. The high bit of each sum tells whether the byte is
// at least 'A', and whether it is beyond 'Z'. Where only the first holds, that bit (0x80), shifted
// right by two, is the difference between the cases (0x20).
constexpr uint64_t LowerWord(uint64_t word) {
  const uint64_t fromA = word + kEveryByte * (0x80 - 'A');
  const uint64_t behindZ = word + kEveryByte * (0x80 - ('Z' + 1));
  return word | (fromA & ~behindZ & kHighBits) >> 2;
}

}  // namespace tabulon
