#include "base/numericstring.h"

#include <array>
#include <limits>

namespace tabulon {
namespace {

struct Suffix {
  wchar_t letter;
  uint64_t factor;
};

constexpr std::array<Suffix, 6> kSuffixes = {{
    {L'K', uint64_t{1} << 10},
    {L'M', uint64_t{1} << 20},
    {L'G', uint64_t{1} << 30},
    {L'k', 1'000},
    {L'm', 1'000'000},
    {L'g', 1'000'000'000},
}};

constexpr bool IsDigit(wchar_t unit) {
  return unit >= L'0' && unit <= L'9';
}

}  // namespace

int64_t NumericString(std::wstring_view text, bool allowSuffix) {
  uint64_t value = 0;
  size_t at = 0;
  for (; at < text.size() && IsDigit(text[at]); ++at) {
    value = value * 10 + static_cast<uint64_t>(text[at] - L'0');
  }
  if (at == text.size()) {
    const bool fits = allowSuffix || value <= std::numeric_limits<uint32_t>::max();
    return fits ? static_cast<int64_t>(value) : -1;
  }
  if (!allowSuffix || at + 1 != text.size()) return -1;
  for (const Suffix& suffix : kSuffixes) {
    if (suffix.letter == text[at]) return static_cast<int64_t>(value * suffix.factor);
  }
  return -1;
}

}  // namespace tabulon
