#include "detail/recordclass.h"

#include <gtest/gtest.h>

#include <string>

#include "detail/bands.h"
#include "query/testrecord.h"

namespace tabulon {
namespace {

// The limit in the row is the length that the path has: it is not long at that limit, and long at
// one less.
TEST(RecordClass, PathLengths) {
  // clang-format off
  const struct { const char *directory, *name; uint32_t characters, bytes, utfBytes; } rows[] = {
      {"C:\\", "n", 4, 16, 5}, {"/a/b", "name", 9, 36, 10}, {"", "name", 5, 20, 6},
      {"/a\\", "name", 7, 28, 8},  // a backslash counts as the separator on NFS scans too
      {"/a/", "name", 8, 32, 9},   // a slash does not
      {"/\xC3\xA9", "\xC4\x80", 4, 16, 7}, {"/d", "\xE2\x82\xAC", 4, 16, 7},
      {"/d", "\xD0\xB0", 4, 16, 7},  // U+0430: two bytes as stored, three as counted
  };
  // clang-format on
  for (const auto& row : rows) {
    const TestRecord record(kRootNfs, row.directory, {.name = row.name});
    for (const auto& [units, length] : {std::pair{kPathCharacters, row.characters},
                                        {kPathWideBytes, row.bytes},
                                        {kPathUtfBytes, row.utfBytes}}) {
      for (const uint32_t limit : {length, length - 1}) {
        const NameLimits limits{.maxPath = limit, .maxPathUnits = units};
        EXPECT_EQ(HasLongPath(*record, limits), limit < length)
            << row.directory << " " << row.name << " " << units;
      }
    }
  }
}

TEST(RecordClass, GeneratedShortNames) {
  for (const auto* name : {L"PROGRA~1", L"PROGRA~1.", L"PROGRA~9.TXT", L"a.b.cd~0.x",
                           L"\x100\x100\x100\x100\x100\x100~1"}) {
    EXPECT_TRUE(ConflictName(std::wstring_view(name))) << name;
  }
  for (const auto* name : {L"", L".", L"PROGRA~1.TEXT", L"PROGRA~X", L"PROGR~1", L"PROGRAM~1",
                           L"PROGRA-1", L"PROGRA~1.TXT.X", L".PROGRA~1", L"PROGRA~\x661"}) {
    EXPECT_FALSE(ConflictName(std::wstring_view(name))) << name;
  }
}

TEST(RecordClass, NamesThatACodePageHolds) {
  // clang-format off
  const struct { int codepage; std::wstring name; bool required; } rows[] = {
      {1, L"\x20AC", true}, {15, L"\x20AC", false}, {15, L"\xE20AC", true},  // as a name is held
      {15, L"\xA4\xFF", false}, {1, L"", false}, {12, L"\x100", true}, {0, L"\x100", true},
      {17, L"\x100", true}, {-1, L"plain", false}, {2, L"\x104\x105z", false},
      {2, L"\x104\x106\x100", true}, {5, L"\xFFFF0416", false},
  };
  // clang-format on
  for (const auto& row : rows) {
    EXPECT_EQ(UtfRequired(row.codepage, row.name), row.required) << row.codepage;
  }
}

TEST(Bands, ManyLimitsCountAsFewDo) {
  for (const size_t limits : {size_t{3}, size_t{5}, kFewLimits, kFewLimits + 1}) {
    BandLimits values;
    for (size_t i = 1; i <= limits; ++i) values.push_back(10 * i);
    BandTable sizeBands(values), mdateBands(values);
    const std::array<uint32_t, 7> files = {0, 5, 10, 11, 20, 29, 30};
    UpdateSizeBands(files, std::identity(), sizeBands);
    UpdateDateBands(files, std::identity(), mdateBands);
    const uint32_t sizes[] = {3, 2, 2}, dates[] = {2, 4, 6};
    for (size_t i = 0; i < 3; ++i) {
      EXPECT_EQ(SizeBandCount(sizeBands, i), sizes[i]) << limits;
      EXPECT_EQ(DateBandCount(mdateBands, i), dates[i]) << limits;
    }
  }
}

}  // namespace
}  // namespace tabulon
