// Bytes of files and texts: little-endian numbers, and eight or sixteen bytes of a text together.
#pragma once

#ifdef __SSE2__
#include <emmintrin.h>
#endif

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace tabulon {

static_assert(std::endian::native == std::endian::little,
              "detail files are little-endian and read without conversion");

// Small little-endian reads from bytes that need not be aligned. Everything that the program reads
// from a file goes through these, so a value is never read past the bytes that hold it.
template <class T>
inline T LoadLittle(const void* bytes) {
  T value;
  std::memcpy(&value, bytes, sizeof value);
  return value;
}

inline uint16_t LoadU16(const void* bytes) {
  return LoadLittle<uint16_t>(bytes);
}
inline uint32_t LoadU32(const void* bytes) {
  return LoadLittle<uint32_t>(bytes);
}
inline uint64_t LoadU64(const void* bytes) {
  return LoadLittle<uint64_t>(bytes);
}
inline int32_t LoadI32(const void* bytes) {
  return LoadLittle<int32_t>(bytes);
}

// 2^64 divided by the golden ratio, made odd: multiples of it are spread evenly (Knuth, The Art of
// Computer Programming, volume 3, 6.4: Fibonacci hashing).
inline constexpr uint64_t kGoldenMultiplier = 0x9E3779B97F4A7C15;

// Both halves of the 128-bit product, folded together: every bit of the factors affects every bit
// of the result, for one multiplication.
inline uint64_t FoldedProduct(uint64_t a, uint64_t b) {
  __extension__ using Wide = unsigned __int128;
  const Wide product = static_cast<Wide>(a) * b;
  return static_cast<uint64_t>(product) ^ static_cast<uint64_t>(product >> 64);
}

// Eight bytes of a text at a time, as one 64-bit word: the lowest byte comes first in the text.
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

// Sixteen bytes of a text at a time: SSE2 where the processor has it (every x86-64 does), else two
// words of eight. Functions that look for something give a mask with a bit a byte, the lowest for
// the first.
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
  // Sixteen words, of which block(i) gives numbers i and i + 1: a bit for each that is the same as
  // those of `other`.
  template <class Block>
  static uint32_t SameWords(Block&& block, ByteBlock other) {
    // Halves of words are compared, and both answers joined. Packing keeps all bits set, or none.
    const auto four = [&](size_t i) {
      const __m128 low = _mm_castsi128_ps(_mm_cmpeq_epi32(block(i).bytes_, other.bytes_));
      const __m128 high = _mm_castsi128_ps(_mm_cmpeq_epi32(block(i + 2).bytes_, other.bytes_));
      return _mm_castps_si128(_mm_and_ps(_mm_shuffle_ps(low, high, _MM_SHUFFLE(2, 0, 2, 0)),
                                         _mm_shuffle_ps(low, high, _MM_SHUFFLE(3, 1, 3, 1))));
    };
    const auto eight = [&](size_t i) { return _mm_packs_epi32(four(i), four(i + 4)); };
    return ByteBlock(_mm_packs_epi16(eight(0), eight(8))).HighBits();
  }

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
  template <class Block>
  static uint32_t SameWords(Block&& block, ByteBlock other) {
    uint32_t same = 0;
    for (size_t i = 0; i < kBlockBytes; i += 2) {
      const ByteBlock two = block(i);
      same |= (uint32_t{two.low_ == other.low_} | uint32_t{two.high_ == other.high_} << 1) << i;
    }
    return same;
  }

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
