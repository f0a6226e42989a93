#include "detail/recordclass.h"

#include <gtest/gtest.h>
#include <iconv.h>

#include <string>

#include "detail/asciimap.h"
#include "detail/detailfile.h"
#include "detail/reporttype.h"
#include "query/testrecord.h"

namespace tabulon {
namespace {

class RecordClassTest : public testing::Test {
 protected:
  ~RecordClassTest() override {
    ResetDetailFile();
    maxPath = 1024;
    maxPathUnits = kPathUtfBytes;
    isoCodepage = 1;
  }
};

// Records that differ in one thing each; a row of the test below names those that a type selects.
struct Sample {
  char letter;
  RecordSpec spec;
};
const Sample kSamples[] = {
    {'p', {.name = "plain"}},
    {'c', {.attributes = kAttrCompressed, .name = "a"}},
    {'o', {.attributes = kAttrOffline, .name = "a"}},
    {'e', {.attributes = kAttrEncrypted, .name = "a"}},
    {'w', {.flags = kRecordNoOwner, .name = "a"}},
    {'g', {.flags = kRecordNoGroup, .name = "a"}},
    {'W', {.flags = kRecordOrphanOwner, .name = "a"}},
    {'A', {.flags = kRecordOrphanInAcl, .name = "a"}},
    {'s', {.flags = kRecordHasStreams, .name = "a"}},
    {'G', {.flags = kRecordOrphanGroup, .name = "a"}},
    {'l', {.flags = kRecordSymlink, .name = "a"}},
    {'n', {.flags = kRecordNfsStub, .name = "a"}},
    {'m', {.flags = kRecordMountPoint, .name = "a"}},
    {'j', {.flags = kRecordJunction, .name = "a"}},
    {'~', {.name = "PROGRA~1.TXT"}},
    {'u', {.name = "\xC4\x80"}},  // U+0100
    {'L', {.name = std::string(1100, 'n')}},
    {'D', {.flags = kRecordDirectory, .name = "/d"}},
    // A directory stays one whatever else it has.
    {'E', {.flags = kRecordDirectory | kRecordSymlink | kRecordNoOwner, .name = "PROGRA~1"}},
};
constexpr const char* kEveryFile = "pcoewgWAsGlnmj~uL";

TEST_F(RecordClassTest, EachTypeSelectsItsRecords) {
  const struct {
    uint32_t type;
    const char* cifs;
    const char* nfs;
  } rows[] = {
      {kReportCustom, kEveryFile, kEveryFile},
      {kReportLongPaths, "L", "L"},
      {kReportCompressed, "c", ""},
      {kReportOffline, "o", ""},
      {kReportEncrypted, "e", ""},
      {kReportNoOwner, "w", ""},
      {kReportOrphanOwner, "W", ""},
      {kReportNoGroup, "g", ""},
      {kReportOrphanGroup, "G", ""},
      {kReportOrphanInAcl, "A", ""},
      {kReportAdsFiles, "s", ""},
      {kReportUtfRequired, "u", ""},
      {kReportNameConflict, "~", ""},
      {kReportSymlinks, "l", "l"},
      {kReportMountPoints, "m", "m"},
      {kReportJunctionPoints, "j", "j"},
      {kReportNfsStubs, "", "n"},
      {kReportSubdirCount, "DE", "DE"},
      {kReportTotals, "", ""},
      {kReportFiletypes, "", ""},
      {kReportDuplicates, "", ""},
      {0, "", ""},
      {0x400, "", ""},
      {0x4100, "", ""},
      {0xFFFFFFFF, "", ""},
  };
  for (const auto& row : rows) {
    for (const int kind : {kRootCifs, kRootNfs}) {
      rootType = kind;
      std::string selected;
      for (const Sample& sample : kSamples) {
        const TestRecord record("/dir", sample.spec);
        if (RecordSelected(row.type, *record)) selected.push_back(sample.letter);
      }
      EXPECT_EQ(selected, kind == kRootCifs ? row.cifs : row.nfs) << std::hex << row.type;
    }
  }
}

// The limit in the row is the length that the path has: it is not long at that limit, and long at
// one less.
TEST_F(RecordClassTest, PathLengths) {
  const struct {
    const char* directory;
    const char* name;
    uint32_t characters;
    uint32_t wideBytes;
    uint32_t utfBytes;
  } rows[] = {
      {"C:\\", "n", 4, 16, 5},          {"/a/b", "name", 9, 36, 10},
      {"/a\\", "name", 7, 28, 8},  // a backslash counts as the separator on NFS scans too
      {"/a/", "name", 8, 32, 9},   // a slash does not
      {"", "name", 5, 20, 6},           {"/\xC3\xA9", "\xC4\x80", 4, 16, 7},
      {"/d", "\xE2\x82\xAC", 4, 16, 7},  // a three-byte character
      {"/d", "\xD0\xB0", 4, 16, 7},      // U+0430: two bytes as stored, three as counted
  };
  for (const auto& row : rows) {
    const TestRecord record(row.directory, {.name = row.name});
    for (const auto& [units, length] : {std::pair{kPathCharacters, row.characters},
                                        {kPathWideBytes, row.wideBytes},
                                        {kPathUtfBytes, row.utfBytes}}) {
      maxPathUnits = units;
      for (const uint32_t limit : {length, length - 1}) {
        maxPath = limit;
        EXPECT_EQ(RecordSelected(kReportLongPaths, *record), limit < length)
            << row.directory << " " << row.name << " " << units;
        EXPECT_EQ(CheckPathLength((*record).directory->Wide(), (*record).name.Wide()),
                  limit < length);
      }
    }
  }
}

TEST_F(RecordClassTest, GeneratedShortNames) {
  for (const auto* name : {L"PROGRA~1", L"PROGRA~1.", L"PROGRA~9.TXT", L"a.b.cd~0.x",
                           L"\x100\x100\x100\x100\x100\x100~1"}) {
    EXPECT_TRUE(ConflictName(name)) << name;
  }
  for (const auto* name : {L"", L".", L"PROGRA~1.TEXT", L"PROGRA~X", L"PROGR~1", L"PROGRAM~1",
                           L"PROGRA-1", L"PROGRA~1.TXT.X", L".PROGRA~1", L"PROGRA~\x661"}) {
    EXPECT_FALSE(ConflictName(name)) << name;
  }
}

TEST_F(RecordClassTest, NamesThatACodePageHolds) {
  const struct {
    int codepage;
    std::wstring name;
    bool required;
  } rows[] = {
      {1, L"\x20AC", true},       {15, L"\x20AC", false},
      {15, L"\xE20AC", true},  // as a name is held
      {15, L"\xA4\xFF", false},   {1, L"", false},
      {12, L"\x100", true},       {0, L"\x100", true},
      {17, L"\x100", true},       {-1, L"plain", false},
      {2, L"\x104\x105z", false}, {2, L"\x104\x106\x100", true},
      {5, L"\xFFFF0416", false},
  };
  for (const auto& row : rows)
    EXPECT_EQ(UtfRequired(row.codepage, row.name), row.required) << row.codepage;
}

// The C library carries the same tables.
TEST_F(RecordClassTest, MapsAgreeWithIconv) {
  for (int part = 1; part <= 17; ++part) {
    const auto map = IsoUpperHalf(part);
    if (part == 1 || part == 12 || part == 17) {
      EXPECT_TRUE(map.empty()) << part;
      continue;
    }
    const iconv_t converter = iconv_open("UTF-32LE", ("ISO-8859-" + std::to_string(part)).c_str());
    ASSERT_NE(converter, reinterpret_cast<iconv_t>(-1)) << part;
    ASSERT_EQ(map.size(), 96U);
    for (size_t i = 0; i < map.size(); ++i) {
      char byte = static_cast<char>(0xA0 + i);
      char32_t unit = 0;
      char* in = &byte;
      char* out = reinterpret_cast<char*>(&unit);
      size_t inLeft = 1;
      size_t outLeft = sizeof unit;
      iconv(converter, nullptr, nullptr, nullptr, nullptr);
      if (iconv(converter, &in, &inLeft, &out, &outLeft) == static_cast<size_t>(-1)) unit = 0;
      EXPECT_EQ(map[i], static_cast<int>(unit)) << part << " " << i;
    }
    iconv_close(converter);
  }
}

}  // namespace
}  // namespace tabulon
