#include "detail/recordclass.h"

#include <algorithm>
#include <array>
#include <string_view>

#include "base/unitcode.h"
#include "base/utf.h"
#include "detail/asciimap.h"

namespace tabulon {

namespace {

constexpr int32_t kFirstBeyondLatin1 = 256;
constexpr size_t kShortNameLength = 8;  // "PROGRA~1"
constexpr size_t kShortExtension = 3;

// What the length of a path is made of.
struct TextSize {
  size_t characters;
  size_t utfBytes;  // no terminator
  bool endsInBackslash;
};

TextSize Measure(std::string_view ascii) {
  return {ascii.size(), ascii.size(), ascii.ends_with('\\')};
}

TextSize Measure(std::wstring_view text) {
  return {text.size(), WChrUtfLen(text) - 1, text.ends_with(L'\\')};
}

bool LongerThanLimit(const TextSize& directory, const TextSize& name, const NameLimits& limits) {
  const uint32_t maxPath = limits.maxPath;
  const size_t separator = directory.endsInBackslash ? 0 : 1;
  const size_t characters = directory.characters + separator + name.characters;
  switch (limits.maxPathUnits) {
    case kPathCharacters:
      return characters > maxPath;
    case kPathWideBytes:
      return characters * sizeof(wchar_t) > maxPath;
    default:  // the terminator is counted here, and here alone
      return directory.utfBytes + separator + name.utfBytes + 1 > maxPath;
  }
}

template <class Char>
bool IsShortName(std::basic_string_view<Char> name) {
  const size_t dot = name.rfind(Char{'.'});
  const auto stem = name.substr(0, dot);
  const size_t extension = dot == name.npos ? 0 : name.size() - dot - 1;
  return stem.size() == kShortNameLength && extension <= kShortExtension && stem[6] == Char{'~'} &&
         stem[7] >= Char{'0'} && stem[7] <= Char{'9'};
}

}  // namespace

bool HasFlag(const ScanRecord& record, uint32_t mask, const NameLimits&) {
  return (record.fields().flags() & mask) != 0;
}
bool HasAttribute(const ScanRecord& record, uint32_t mask, const NameLimits&) {
  return (record.fields().attributes() & mask) != 0;
}
bool HasLongPath(const ScanRecord& record, uint32_t, const NameLimits& limits) {
  const auto measure = [](auto text) { return Measure(text); };
  return LongerThanLimit(record.directory->Visit(measure), record.name.Visit(measure), limits);
}
bool HasShortName(const ScanRecord& record, uint32_t, const NameLimits&) {
  return record.name.Visit([](auto name) { return IsShortName(name); });
}
bool NeedsUtf(const ScanRecord& record, uint32_t, const NameLimits& limits) {
  return !record.name.IsAscii() && UtfRequired(limits.isoCodepage, record.name.Wide());
}

bool CheckPathLength(std::wstring_view directory, std::wstring_view name,
                     const NameLimits& limits) {
  return LongerThanLimit(Measure(directory), Measure(name), limits);
}

bool ConflictName(std::wstring_view name) {
  return IsShortName(name);
}

bool UtfRequired(int codepage, std::wstring_view name) {
  const auto map = IsoUpperHalf(codepage);
  return std::ranges::any_of(name, [&](wchar_t unit) {
    const int32_t code = UnitCode(unit);
    return code >= kFirstBeyondLatin1 &&
           std::ranges::none_of(map, [&](int16_t held) { return held == code; });
  });
}

}  // namespace tabulon
