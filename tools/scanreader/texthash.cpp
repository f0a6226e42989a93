#include "tools/scanreader/texthash.h"

#include <sys/random.h>

#include <chrono>

namespace tabulon {

uint64_t RandomSeed() {
  uint64_t seed = 0;
  if (getrandom(&seed, sizeof seed, GRND_NONBLOCK) == ssize_t{sizeof seed}) return seed;
  return static_cast<uint64_t>(std::chrono::steady_clock::now().time_since_epoch().count());
}

}  // namespace tabulon
