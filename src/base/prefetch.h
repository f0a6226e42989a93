// Fetching what is needed soon.
#pragma once

#include <cstddef>
#include <cstdint>

namespace tabulon {

// Has the processor fetch what is `ahead` bytes after `at`. That may be outside of what `at` points
// into, where no pointer may be formed: so the place is reckoned as a number.
inline void PrefetchAhead(const void* at, size_t ahead) {
  __builtin_prefetch(reinterpret_cast<const void*>(reinterpret_cast<uintptr_t>(at) + ahead));
}

// Has the processor fetch the start of the record or text at `at`: two cache lines, which hold most
// records and paths. Any address will do; where nothing is mapped, nothing is fetched.
inline void PrefetchStart(const void* at) {
  constexpr size_t kCacheLine = 64;
  __builtin_prefetch(at);
  PrefetchAhead(at, kCacheLine);
}

}  // namespace tabulon
