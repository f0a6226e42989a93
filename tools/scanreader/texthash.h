// Hashes of texts for tables in memory. They begin with a random number, so that nobody can make a
// scan whose names all have one hash. They differ from run to run; no output depends on them.
#pragma once

#include <cstdint>
#include <cstring>
#include <string_view>

#include "base/bytes.h"

namespace tabulon {

// A random number; the clock's when the system has none to give.
uint64_t RandomSeed();

// Mixes two words.
inline uint64_t MixWords(uint64_t a, uint64_t b) {
  return FoldedProduct(a ^ kGoldenMultiplier, b ^ 0xD6E8FEB86659FD93);
}

// The hash of a text; `seed` is the hash of what precedes it.
inline uint64_t HashText(uint64_t seed, std::string_view text) {
  uint64_t hash = MixWords(seed, text.size());
  while (text.size() >= kWordBytes) {
    hash = MixWords(hash, LoadU64(text.data()));
    text.remove_prefix(kWordBytes);
  }
  uint64_t rest = 0;
  if (!text.empty()) std::memcpy(&rest, text.data(), text.size());  // an empty view may be null
  return MixWords(hash, rest ^ seed);
}

}  // namespace tabulon
