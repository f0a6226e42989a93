// Random numbers for made-up scans. Everything is integer arithmetic, so the same seed gives the
// same scan with every compiler and C library.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>

#include "base/bytes.h"

namespace tabulon {

// xoshiro256++ by Blackman and Vigna (public domain), seeded by splitmix64 as they advise.
class Random {
 public:
  explicit Random(uint64_t seed) {
    for (uint64_t& word : state_) {
      seed += kGoldenMultiplier;
      uint64_t z = seed;
      z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9;
      z = (z ^ (z >> 27)) * 0x94D049BB133111EB;
      word = z ^ (z >> 31);
    }
  }

  uint64_t Next() {
    const uint64_t result = std::rotl(state_[0] + state_[3], 23) + state_[0];
    const uint64_t shifted = state_[1] << 17;
    state_[2] ^= state_[0];
    state_[3] ^= state_[1];
    state_[1] ^= state_[2];
    state_[0] ^= state_[3];
    state_[2] ^= shifted;
    state_[3] = std::rotl(state_[3], 45);
    return result;
  }

  // Evenly from 0 to limit - 1. (The bias of 2^-32 at most does not matter here.)
  uint32_t Below(uint32_t limit) { return static_cast<uint32_t>(((Next() >> 32) * limit) >> 32); }
  // Evenly from `low` to `high`, both included.
  uint32_t Between(uint32_t low, uint32_t high) { return low + Below(high - low + 1); }

  // From 0 to limit - 1, low numbers far more often: the share of numbers below x is the cube root
  // of x / limit.
  uint32_t Skewed(uint32_t limit) {
    const uint64_t u = Next() >> 32;
    const uint64_t cubed = (((u * u) >> 32) * u) >> 32;
    return static_cast<uint32_t>((cubed * limit) >> 32);
  }

  // True `times` times in a thousand.
  bool PerMille(uint32_t times) { return Below(1000) < times; }

  // Sum of twelve even numbers of 16 bits, less its mean: close to normal, with a standard
  // deviation of 65536.
  int32_t Normal() {
    int32_t sum = 0;
    for (int draw = 0; draw < 3; ++draw) {
      for (uint64_t bits = Next(), part = 0; part < 4; ++part, bits >>= 16) {
        sum += static_cast<int32_t>(bits & 0xFFFF);
      }
    }
    return sum - 6 * 65536;
  }

 private:
  uint64_t state_[4];
};

// A random element of a table.
template <class T, size_t N>
const T& Pick(Random& random, const T (&table)[N]) {
  return table[random.Below(N)];
}

}  // namespace tabulon
