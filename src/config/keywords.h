// Looking up the words of the configuration: tables whose rows begin with a `keyword` (as
// FindKeyword of base/utils.h does), values that are one word of a few, and comma lists.
#pragma once

#include <string_view>

#include "base/loganderr.h"
#include "base/utils.h"

namespace tabulon {

// The first row of exactly that keyword; null when there is none.
template <class Rows>
constexpr auto FindKeywordExactly(const Rows& rows, std::wstring_view keyword)
    -> decltype(&rows[0]) {
  for (const auto& row : rows) {
    if (row.keyword == keyword) return &row;
  }
  return nullptr;
}

// A word that a keyword accepts as its value, and its meaning.
template <class T>
struct Choice {
  std::wstring_view keyword;
  T value;
};

// The meaning of `value`, letter case ignored. A word that is no choice ends the run with `error`,
// filled with `args`.
template <class Choices, class... Args>
auto Choose(const Choices& choices, std::wstring_view value, WideFormat<Args...> error,
            const Args&... args) {
  const auto* choice = FindKeyword(choices, value);
  if (choice == nullptr) ErrExit(error, args...);
  return choice->value;
}

// Calls use(item) for every item of a comma list. Items may be empty, and empty text is one empty
// item; blanks belong to the items.
template <class Use>
void ForEachItem(std::wstring_view list, Use use) {
  for (size_t start = 0;;) {
    const size_t comma = list.find(L',', start);
    use(list.substr(start, comma - start));
    if (comma == std::wstring_view::npos) return;
    start = comma + 1;
  }
}

}  // namespace tabulon
