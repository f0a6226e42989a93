// Sixteen bytes of a text at a time: SSE2 where the processor has it (every x86-64 does), else two
// words of eight. Functions that look for something give a mask with a bit a byte, the lowest for
// the first.
#pragma once

#include <cstddef>
#include <cstdint>

#ifdef __SSE2__
#include <emmintrin.h>
#else
#include "base/byteword.h"
#endif

namespace tabulon {

inline constexpr size_t kBlockBytes = 16;

#ifdef __SSE2__

class ByteBlock {
 public:
  static ByteBlock Load(const char* bytes) {
    return ByteBlock(_mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes)));
  }
  // Eight bytes from each of two places.
  static ByteBlock LoadHalves(const char* low, const char* high) {
    const __m128i half = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(low));
    return ByteBlock(
        _mm_unpacklo_epi64(half, _mm_loadl_epi64(reinterpret_cast<const __m128i*>(high))));
  }
  static ByteBlock Every(char byte) { return ByteBlock(_mm_set1_epi8(byte)); }

  ByteBlock operator|(ByteBlock other) const {
    return ByteBlock(_mm_or_si128(bytes_, other.bytes_));
  }
  ByteBlock operator&(ByteBlock other) const {
    return ByteBlock(_mm_and_si128(bytes_, other.bytes_));
  }
  // 0xFF where the bytes are equal, else 0.
  ByteBlock EqualTo(ByteBlock other) const {
    return ByteBlock(_mm_cmpeq_epi8(bytes_, other.bytes_));
  }
  // Has the high bit of a byte set where it is zero or above 127.
  ByteBlock Unplain() const {
    return *this | ByteBlock(_mm_cmpeq_epi8(bytes_, _mm_setzero_si128()));
  }
  // The high bits of the bytes.
  uint32_t HighBits() const { return static_cast<uint32_t>(_mm_movemask_epi8(bytes_)); }

 private:
  explicit ByteBlock(__m128i bytes) : bytes_(bytes) {}
  __m128i bytes_;
};

#else

class ByteBlock {
 public:
  static ByteBlock Load(const char* bytes) {
    return ByteBlock(LoadU64(bytes), LoadU64(bytes + kWordBytes));
  }
  static ByteBlock LoadHalves(const char* low, const char* high) {
    return ByteBlock(LoadU64(low), LoadU64(high));
  }
  static ByteBlock Every(char byte) {
    const uint64_t word = kEveryByte * static_cast<unsigned char>(byte);
    return ByteBlock(word, word);
  }

  ByteBlock operator|(ByteBlock other) const {
    return ByteBlock(low_ | other.low_, high_ | other.high_);
  }
  ByteBlock operator&(ByteBlock other) const {
    return ByteBlock(low_ & other.low_, high_ & other.high_);
  }
  ByteBlock EqualTo(ByteBlock other) const {
    return ByteBlock(ZeroBytes(low_ ^ other.low_), ZeroBytes(high_ ^ other.high_));
  }
  ByteBlock Unplain() const { return ByteBlock(low_ | ZeroBytes(low_), high_ | ZeroBytes(high_)); }
  uint32_t HighBits() const { return Gather(low_) | Gather(high_) << kWordBytes; }

 private:
  ByteBlock(uint64_t low, uint64_t high) : low_(low), high_(high) {}
  // 0xFF for each byte that is zero.
  static uint64_t ZeroBytes(uint64_t word) {
    const uint64_t marks = ~(((word & kLowBits) + kLowBits) | word) & kHighBits;
    return (marks >> 7) * 0xFF;
  }
  static uint32_t Gather(uint64_t word) {
    return static_cast<uint32_t>(((word & kHighBits) >> 7) * 0x0102040810204080 >> 56);
  }
  uint64_t low_;
  uint64_t high_;
};

#endif

}  // namespace tabulon
