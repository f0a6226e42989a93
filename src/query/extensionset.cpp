#include "query/extensionset.h"

#include <algorithm>

#include "base/foldcase.h"

namespace tabulon {

ExtensionSet::ExtensionSet(const FileClass& fileClass, bool ignoreCase) : ignoreCase_(ignoreCase) {
  for (const ClassPattern& pattern : fileClass.patterns) {
    if (pattern.wildcard) {
      templates_.emplace_back(pattern.text, true);  // backslash on NFS scans too: kept so
      continue;
    }
    std::wstring& text = plain_.emplace_back(pattern.text);
    if (ignoreCase_) std::ranges::transform(text, text.begin(), FoldCase());
  }
}

template <class Char>
bool ExtensionSet::Search(std::basic_string_view<Char> extension) const {
  const CaseFold& fold = FoldCase();
  const auto equals = [&](std::wstring_view pattern) {
    return std::ranges::equal(extension, pattern, [&](Char have, wchar_t want) {
      return ignoreCase_ ? fold(have) == want : static_cast<wchar_t>(have) == want;
    });
  };
  return std::ranges::any_of(plain_, equals) ||
         std::ranges::any_of(templates_, [&](const auto& each) { return each.Match(extension); });
}

bool ExtensionSet::Contains(std::string_view ascii) const {
  return Search(ascii);
}

bool ExtensionSet::Contains(std::wstring_view extension) const {
  return Search(extension);
}

}  // namespace tabulon
