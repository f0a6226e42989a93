#include "query/classes.h"

#include <algorithm>
#include <functional>

#include "base/localetext.h"
#include "base/unitcode.h"

namespace tabulon {
namespace {

constexpr size_t kPackedUnits = sizeof(uint64_t);

// Up to eight ASCII units as the bytes of one number, so that a comparison of texts is one of
// numbers. No unit is 0, so different texts give different numbers.
template <class Units, class Fold>
uint64_t Pack(const Units& units, Fold&& fold) {
  uint64_t packed = 0;
  for (const auto unit : units) packed = packed << 8 | static_cast<uint64_t>(fold(unit));
  return packed;
}

bool CanBePacked(std::wstring_view text) {
  return text.size() <= kPackedUnits &&
         std::ranges::all_of(text, [](wchar_t unit) { return unit != 0 && IsAsciiUnit(unit); });
}

std::wstring Folded(std::wstring_view text) {
  std::wstring folded(text);
  std::ranges::transform(folded, folded.begin(), [](wchar_t unit) { return FoldCase()(unit); });
  return folded;
}

}  // namespace

FileClass* Classes::Add(std::wstring_view name) {
  const auto [place, isNew] = byName_.try_emplace(Folded(name), nullptr);
  if (!isNew) return nullptr;
  FileClass& made = classList_.emplace_back(FileClass{std::wstring(name), {}});
  place->second = &made;
  return &made;
}

const FileClass* Classes::Find(std::wstring_view name) const {
  const auto found = byName_.find(Folded(name));
  return found != byName_.end() ? found->second : nullptr;
}

ExtensionSet::ExtensionSet(const FileClass& fileClass, bool ignoreCase)
    : ignoreCase_(ignoreCase), packs_(!ignoreCase || FoldCase().isPlain()) {
  for (const ClassPattern& pattern : fileClass.patterns) {
    if (pattern.wildcard) {
      templates_.emplace_back(pattern.text, true);  // backslash on NFS scans too: kept so
      continue;
    }
    const std::wstring& text =
        plain_.emplace_back(ignoreCase_ ? Folded(pattern.text) : pattern.text);
    if (CanBePacked(text)) packed_.push_back(Pack(text, std::identity()));
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

bool ExtensionSet::SearchPacked(std::string_view ascii) const {
  const uint64_t packed = ignoreCase_ ? Pack(ascii, FoldCase()) : Pack(ascii, std::identity());
  return std::ranges::find(packed_, packed) != packed_.end() ||
         std::ranges::any_of(templates_, [&](const auto& each) { return each.Match(ascii); });
}

bool ExtensionSet::Contains(std::string_view ascii) const {
  return packs_ && ascii.size() <= kPackedUnits ? SearchPacked(ascii) : Search(ascii);
}

bool ExtensionSet::Contains(std::wstring_view extension) const {
  return Search(extension);
}

}  // namespace tabulon
