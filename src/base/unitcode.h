// Units of wide text as numbers. wchar_t is signed on x86 and unsigned on ARM, and damaged texts
// hold units with the highest bit set. Code that orders, bounds or prints units does it by their
// codes, so it does the same on both.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace tabulon {

static_assert(sizeof(wchar_t) == sizeof(int32_t));

// A unit with the highest bit set is negative: it comes before all others.
constexpr int32_t UnitCode(wchar_t unit) {
  return static_cast<int32_t>(unit);
}

constexpr bool IsAsciiUnit(wchar_t unit) {
  return static_cast<uint32_t>(unit) < 0x80;
}

// The order of two texts by the codes of their units; a text comes before one that it begins.
constexpr int CompareUnits(std::wstring_view a, std::wstring_view b) {
  const size_t common = std::min(a.size(), b.size());
  for (size_t i = 0; i < common; ++i) {
    if (a[i] != b[i]) return UnitCode(a[i]) < UnitCode(b[i]) ? -1 : 1;
  }
  return a.size() == b.size() ? 0 : a.size() < b.size() ? -1 : 1;
}

}  // namespace tabulon
