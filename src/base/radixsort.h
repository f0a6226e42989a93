// Sorting many plain entries by a number: a counting pass for each part of the number, which costs
// a few nanoseconds an entry. Comparing costs as much for each doubling of their count.
#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <span>
#include <utility>
#include <vector>

namespace tabulon {

// Copies `count` entries to `spread`, ordered by bucket(entry); those of a bucket keep their order.
// `starts` is zero and has two numbers more than there are buckets. In the end it tells where each
// bucket begins, and one number further where it ends.
template <class T, class Bucket>
void Spread(const T* entries, size_t count, T* spread, std::span<size_t> starts, Bucket&& bucket) {
  for (size_t i = 0; i < count; ++i) ++starts[bucket(entries[i]) + 2];
  for (size_t b = 2; b < starts.size(); ++b) starts[b] += starts[b - 1];
  for (size_t i = 0; i < count; ++i) spread[starts[bucket(entries[i]) + 1]++] = entries[i];
}

// Sorts the `count` entries at `entries` by the number key(entry); those with equal keys come in
// any order. `spare` has room for as many. True: the sorted entries are there in the end.
template <class T, class Key>
bool RadixSort(T* entries, T* spare, size_t count, Key&& key) {
  constexpr uint32_t kDigit = 11;  // the counts fit the nearest cache
  constexpr size_t kFew = 128;     // comparing costs less than counting
  if (count <= kFew) {
    std::sort(entries, entries + count, [&](const T& a, const T& b) { return key(a) < key(b); });
    return false;
  }
  uint64_t used = 0;  // the bits that any key has
  for (size_t i = 0; i < count; ++i) used |= key(entries[i]);
  const auto bits = static_cast<uint32_t>(std::bit_width(used));
  bool inSpare = false;
  for (uint32_t shift = 0; shift < bits; shift += kDigit) {
    const auto digit = [&](const T& entry) {
      return uint64_t{key(entry)} >> shift & ((1U << kDigit) - 1);
    };
    std::array<size_t, (size_t{1} << kDigit) + 2> starts{};
    Spread(entries, count, spare, starts, digit);
    std::swap(entries, spare);
    inSpare = !inSpare;
  }
  return inSpare;
}

// The same for vectors; calls may share `spare`.
template <class T, class Key>
void RadixSort(std::vector<T>& entries, std::vector<T>& spare, Key&& key) {
  spare.resize(entries.size());
  if (RadixSort(entries.data(), spare.data(), entries.size(), key)) entries.swap(spare);
}

}  // namespace tabulon
