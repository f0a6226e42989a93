// Sorting many plain entries by a number: a counting pass for each part of the number, which costs
// a few nanoseconds an entry. Comparing costs as much for each doubling of their count.
#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace tabulon {

// Sorts `entries` by the number key(entry); those with equal keys come in any order. `spare` is
// room that calls may share.
template <class T, class Key>
void RadixSort(std::vector<T>& entries, std::vector<T>& spare, Key&& key) {
  constexpr uint32_t kDigit = 11;  // the counts fit the nearest cache
  constexpr size_t kFew = 128;     // comparing costs less than counting
  if (entries.size() <= kFew) {
    std::sort(entries.begin(), entries.end(),
              [&](const T& a, const T& b) { return key(a) < key(b); });
    return;
  }
  spare.resize(entries.size());
  uint64_t used = 0;  // the bits that any key has
  for (const T& entry : entries) used |= key(entry);
  const auto bits = static_cast<uint32_t>(std::bit_width(used));
  for (uint32_t shift = 0; shift < bits; shift += kDigit) {
    const auto digit = [&](const T& entry) {
      return uint64_t{key(entry)} >> shift & ((1U << kDigit) - 1);
    };
    std::array<size_t, (size_t{1} << kDigit) + 1> next{};
    for (const T& entry : entries) ++next[digit(entry) + 1];
    for (size_t i = 1; i < next.size(); ++i) next[i] += next[i - 1];
    for (const T& entry : entries) spare[next[digit(entry)]++] = entry;
    entries.swap(spare);
  }
}

}  // namespace tabulon
