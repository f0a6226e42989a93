// Small services: decimal parsing, file copy, directories, texts without regard to case.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "base/memory.h"

namespace tabulon {

// Decimal digits to a number: no sign, no blanks, no overflow check (the value wraps). `end`, when
// wanted, is set to the first character that is no digit.
template <class Char>
uint64_t ParseDecimal(const Char* text, const Char** end) {
  uint64_t value = 0;
  for (; *text >= '0' && *text <= '9'; ++text) {
    value = value * 10 + static_cast<uint64_t>(*text - '0');
  }
  if (end != nullptr) *end = text;
  return value;
}
inline uint64_t wcstoul64(const wchar_t* text, const wchar_t** end) {
  return ParseDecimal(text, end);
}

// Copies the rest of the open file `from` to `to`; false with errno set on failure.
bool CopyBytes(int from, int to);

// Creates every missing directory of `path` (its first 256 bytes) with mode 0700. Failures show
// when the directory is used.
void MkdirRecursive(const char* path);

// Whether two texts are equal when letter case is ignored (towlower).
bool EqualIgnoringCase(std::wstring_view a, std::wstring_view b);

// The first row of a table that has this `keyword`, letter case ignored; null when there is none.
template <class Rows>
auto FindKeyword(const Rows& rows, std::wstring_view keyword) -> decltype(&rows[0]) {
  for (const auto& row : rows) {
    if (EqualIgnoringCase(row.keyword, keyword)) return &row;
  }
  return nullptr;
}

// Parses decimal digits; with `allowSuffix` exactly one letter may follow: K M G multiply by powers
// of 1024, k m g by powers of 1000. Empty text is 0, a suffix alone is 0. No overflow check (the
// value wraps). Returns -1 for anything else, and without suffixes for more than 4294967295.
int64_t NumericString(std::wstring_view text, bool allowSuffix);

}  // namespace tabulon
