#include "detail/recordclass.h"

#include <algorithm>
#include <array>
#include <string_view>

#include "base/unitcode.h"
#include "base/utf.h"
#include "detail/asciimap.h"
#include "detail/reporttype.h"

namespace tabulon {

uint32_t maxPath = 1024;
int maxPathUnits = kPathUtfBytes;
int isoCodepage = 1;

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

bool LongerThanLimit(const TextSize& directory, const TextSize& name) {
  const size_t separator = directory.endsInBackslash ? 0 : 1;
  const size_t characters = directory.characters + separator + name.characters;
  switch (maxPathUnits) {
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

// The tests; `mask` is the bits that the row of the report type asks for.
bool HasFlag(const ScanRecord& record, uint32_t mask) {
  return (record.fields().flags() & mask) != 0;
}
bool HasAttribute(const ScanRecord& record, uint32_t mask) {
  return (record.fields().attributes() & mask) != 0;
}
bool HasLongPath(const ScanRecord& record, uint32_t) {
  const auto measure = [](auto text) { return Measure(text); };
  return LongerThanLimit(record.directory->Visit(measure), record.name.Visit(measure));
}
bool HasShortName(const ScanRecord& record, uint32_t) {
  return record.name.Visit([](auto name) { return IsShortName(name); });
}
bool NeedsUtf(const ScanRecord& record, uint32_t) {
  return !record.name.IsAscii() && UtfRequired(isoCodepage, record.name.Wide());
}

// What a report type selects, and on which kinds of scan.
struct Selection {
  uint32_t type;
  bool (*test)(const ScanRecord& record, uint32_t mask);  // null: none is needed
  uint32_t mask;
  bool cifs;
  bool nfs;
};

constexpr Selection kSelections[] = {
    {kReportCompressed, HasAttribute, kAttrCompressed, true, false},
    {kReportOffline, HasAttribute, kAttrOffline, true, false},
    {kReportEncrypted, HasAttribute, kAttrEncrypted, true, false},
    {kReportNoOwner, HasFlag, kRecordNoOwner, true, false},
    {kReportOrphanOwner, HasFlag, kRecordOrphanOwner, true, false},
    {kReportNoGroup, HasFlag, kRecordNoGroup, true, false},
    {kReportOrphanGroup, HasFlag, kRecordOrphanGroup, true, false},
    {kReportOrphanInAcl, HasFlag, kRecordOrphanInAcl, true, false},
    {kReportAdsFiles, HasFlag, kRecordHasStreams, true, false},
    {kReportLongPaths, HasLongPath, 0, true, true},
    {kReportUtfRequired, NeedsUtf, 0, true, false},
    {kReportNameConflict, HasShortName, 0, true, false},
    {kReportCustom, nullptr, 0, true, true},
    {kReportSymlinks, HasFlag, kRecordSymlink, true, true},
    {kReportNfsStubs, HasFlag, kRecordNfsStub, false, true},
    {kReportMountPoints, HasFlag, kRecordMountPoint, true, true},
    {kReportJunctionPoints, HasFlag, kRecordJunction, true, true},
    {kReportSubdirCount, nullptr, 0, true, true},
};

// The row of each listing type, found by the type's bits above the low byte; -1 = no row.
constexpr size_t kTypeSlots = (kReportSubdirCount >> 8) + 1;
constexpr std::array<int8_t, kTypeSlots> kSelectionOfType = [] {
  std::array<int8_t, kTypeSlots> rows{};
  rows.fill(-1);
  for (size_t i = 0; i < std::size(kSelections); ++i) {
    rows[kSelections[i].type >> 8] = static_cast<int8_t>(i);
  }
  return rows;
}();
static_assert(std::ranges::all_of(kSelections,
                                  [](const Selection& row) { return (row.type & 0xFF) == 0; }));

const Selection* SelectionOf(uint32_t type) {
  if ((type & kNotRecordList) != 0 || (type >> 8) >= kTypeSlots) return nullptr;
  const int row = kSelectionOfType[type >> 8];
  return row < 0 ? nullptr : &kSelections[row];
}

}  // namespace

RecordSelector SelectorOf(uint32_t type, const Scan& scan) {
  const Selection* selection = SelectionOf(type);
  if (selection == nullptr || !(scan.isCifs() ? selection->cifs : selection->nfs)) return {};
  return {false, type == kReportSubdirCount, selection->test, selection->mask};
}

bool CheckPathLength(std::wstring_view directory, std::wstring_view name) {
  return LongerThanLimit(Measure(directory), Measure(name));
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
