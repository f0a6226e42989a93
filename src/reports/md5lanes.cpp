#include "reports/md5lanes.h"

#include <algorithm>
#include <cstring>

#include "base/bytes.h"

namespace tabulon {
namespace {

// A number of each lane. Where the processor's vectors are shorter, the compiler takes several.
using Lanes = uint32_t __attribute__((vector_size(Md5Lanes::kLanes * sizeof(uint32_t))));

constexpr size_t kSteps = 64;

// The whole part of 2^32 times the sine of each step's number.
constexpr std::array<uint32_t, kSteps> kSines = {
    0xD76AA478, 0xE8C7B756, 0x242070DB, 0xC1BDCEEE, 0xF57C0FAF, 0x4787C62A, 0xA8304613, 0xFD469501,
    0x698098D8, 0x8B44F7AF, 0xFFFF5BB1, 0x895CD7BE, 0x6B901122, 0xFD987193, 0xA679438E, 0x49B40821,
    0xF61E2562, 0xC040B340, 0x265E5A51, 0xE9B6C7AA, 0xD62F105D, 0x02441453, 0xD8A1E681, 0xE7D3FBC8,
    0x21E1CDE6, 0xC33707D6, 0xF4D50D87, 0x455A14ED, 0xA9E3E905, 0xFCEFA3F8, 0x676F02D9, 0x8D2A4C8A,
    0xFFFA3942, 0x8771F681, 0x6D9D6122, 0xFDE5380C, 0xA4BEEA44, 0x4BDECFA9, 0xF6BB4B60, 0xBEBFBC70,
    0x289B7EC6, 0xEAA127FA, 0xD4EF3085, 0x04881D05, 0xD9D4D039, 0xE6DB99E5, 0x1FA27CF8, 0xC4AC5665,
    0xF4292244, 0x432AFF97, 0xAB9423A7, 0xFC93A039, 0x655B59C3, 0x8F0CCC92, 0xFFEFF47D, 0x85845DD1,
    0x6FA87E4F, 0xFE2CE6E0, 0xA3014314, 0x4E0811A1, 0xF7537E82, 0xBD3AF235, 0x2AD7D2BB, 0xEB86D391};

// The four rounds' rotations, four steps in turn.
constexpr std::array<std::array<int, 4>, 4> kRotations = {
    {{7, 12, 17, 22}, {5, 9, 14, 20}, {4, 11, 16, 23}, {6, 10, 15, 21}}};

// The word of the block that each round takes in its step `i`.
constexpr size_t WordOf(size_t round, size_t i) {
  constexpr std::array<size_t, 4> factor = {1, 5, 3, 7};
  constexpr std::array<size_t, 4> first = {0, 1, 5, 0};
  return (first[round] + factor[round] * i) % 16;
}

template <size_t kRound>
inline void Mixed(const Lanes& b, const Lanes& c, const Lanes& d, Lanes& out) {
  if constexpr (kRound == 0) out = d ^ (b & (c ^ d));
  if constexpr (kRound == 1) out = c ^ (d & (b ^ c));
  if constexpr (kRound == 2) out = b ^ c ^ d;
  if constexpr (kRound == 3) out = c ^ (b | ~d);
}

template <size_t kStep>
inline void Step(const Lanes* words, Lanes& a, const Lanes& b, const Lanes& c, const Lanes& d) {
  constexpr size_t kRound = kStep / 16;
  constexpr int kRotation = kRotations[kRound][kStep % 4];
  Lanes sum;
  Mixed<kRound>(b, c, d, sum);
  sum += a + kSines[kStep] + words[WordOf(kRound, kStep % 16)];
  a = b + (sum << kRotation | sum >> (32 - kRotation));
}

template <size_t kStep = 0>
inline void Steps(const Lanes* words, Lanes& a, Lanes& b, Lanes& c, Lanes& d) {
  if constexpr (kStep < kSteps) {
    Step<kStep>(words, a, b, c, d);
    Steps<kStep + 1>(words, d, a, b, c);
  }
}

uint64_t BigEndian(uint32_t first, uint32_t second) {
  return __builtin_bswap64(uint64_t{second} << 32 | first);
}

}  // namespace

// After the message come a byte 0x80, zeros, and its length in bits.
void Md5Lanes::Set(size_t lane, std::span<const unsigned char> message) {
  std::array<unsigned char, kWords * sizeof(uint32_t)> block{};
  std::ranges::copy(message, block.begin());
  block[message.size()] = 0x80;
  for (size_t i = 0; i < kWords; ++i) words_[i][lane] = LoadU32(&block[i * sizeof(uint32_t)]);
  words_[kWords - 2][lane] = static_cast<uint32_t>(message.size() * 8);
}

std::array<Digest, Md5Lanes::kLanes> Md5Lanes::Compute() const {
  constexpr std::array<uint32_t, 4> kStart = {0x67452301, 0xEFCDAB89, 0x98BADCFE, 0x10325476};
  std::array<Lanes, kWords> words;
  std::memcpy(words.data(), words_.data(), sizeof words);
  Lanes a = Lanes{} + kStart[0];
  Lanes b = Lanes{} + kStart[1];
  Lanes c = Lanes{} + kStart[2];
  Lanes d = Lanes{} + kStart[3];
  Steps(words.data(), a, b, c, d);
  std::array<Digest, kLanes> digests;
  for (size_t i = 0; i < kLanes; ++i) {
    digests[i] = {BigEndian(a[i] + kStart[0], b[i] + kStart[1]),
                  BigEndian(c[i] + kStart[2], d[i] + kStart[3])};
  }
  return digests;
}

}  // namespace tabulon
