// Numbers as users type them.
#pragma once

#include <cstdint>
#include <string_view>

namespace tabulon {

// Parses decimal digits; with `allowSuffix` exactly one letter may follow: K M G multiply by powers
// of 1024, k m g by powers of 1000. Empty text is 0, a suffix alone is 0. No overflow check (the
// value wraps). Returns -1 for anything else, and without suffixes for more than 4294967295.
int64_t NumericString(std::wstring_view text, bool allowSuffix);

}  // namespace tabulon
