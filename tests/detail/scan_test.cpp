#include "detail/scan.h"

#include <gmock/gmock.h>

#include <string>

#include "tests/ending.h"
#include "tests/support/dtlbuild.h"
#include "tests/support/openscan.h"

namespace tabulon {
namespace {

class ScanTest : public testing::Test {
 protected:
  void Load(std::string_view bytes, bool adsFull = false, bool qvaTagged = false) {
    scan_ = OpenInMemory(bytes, {.adsFull = adsFull, .qvaTagged = qvaTagged});
  }

  Scan scan_;
};

// Which of the reasons is told when there are several.
TEST_F(ScanTest, RefusesWhatItCannotRead) {
  const std::string kInvalid = "'x.dtl' is not a valid Trawlix detail log file\n";
  const std::string kIncomplete = "'x.dtl' is an incomplete Trawlix detail log file\n";
  const std::string kAix =
      "'x.dtl' was built on AIX.\nCurrently a know temporary issue exists with AIX DTL files "
      "preventing report generation.\nWe regret any inconvenience caused.\n";
  const std::string kBeta =
      "'x.dtl' was built by a BETA revision of Trawlix.\nUnfortunately these DTL files are no "
      "longer supported.\nPlease download the latest version of Trawlix.\n";
  const std::string kOther = "'x.dtl' was built by an incompatible revision of Trawlix\n";
  const std::string kNoAds =
      "dtl file 'x.dtl' was built with a version of trawlix that does not support full ADS info. "
      "Please retry without '-adsfull' option.\n";
  const std::string kUntagged = "'x.dtl' is not an QVA-tagged .dtl file\n";
  // clang-format off
  const struct { uint32_t magic, revision; bool adsFull, qvaWanted; std::string reason; } rows[] = {
      {0, 8, false, false, kInvalid}, {kMagicIncomplete, 0x105, true, true, kIncomplete},
      {kMagicFinished, 0x105, true, true, kAix}, {kMagicBeta, 0x105, false, false, kAix},
      {kMagicBeta, 0x205, false, true, kBeta}, {kMagicBeta, 0, false, false, kBeta},
      {kMagicFinished, 0x205, false, true, kOther}, {kMagicFinished, 9, false, false, kOther},
      {kMagicFinished, 6, true, true, kNoAds},
      {kMagicFinished, 6, false, true, kUntagged}, {kMagicBeta, 0x208, true, true, kUntagged},
  };
  // clang-format on
  for (const auto& row : rows) {
    const std::string bytes = BuildDtl({.magic = row.magic, .revision = row.revision});
    EXPECT_ENDS(Load(bytes, row.adsFull, row.qvaWanted), 1, row.reason);
  }
  const std::string cut = BuildDtl({.magic = kMagicIncomplete}).substr(0, 87);
  EXPECT_ENDS(Load(cut), 1, kInvalid);
}

TEST_F(ScanTest, FieldsEndAtTheirWidthAndWithTheFile) {
  const std::string whole =
      BuildDtl({.version = {"123456789012", std::string(32, 'p'), std::string(40, 'a')},
                .availableSpace = 0x1122334455667788,
                .volumeCapacity = 77});
  Load(whole);
  EXPECT_EQ(scan_.fsysHost, L"server");  // which has no name of its own
  const VersionBlock& version = scan_.version;
  EXPECT_EQ(version.scanVersion + version.buildPlatform + version.buildArchitecture,
            "123456789012" + std::string(32, 'p') + std::string(32, 'a'));
  Load(std::string_view(whole).substr(0, dtl_at::kAvailableSpace + 2));
  EXPECT_EQ(scan_.logRoot.availableSpace, 0x7788U);
  EXPECT_EQ(scan_.logRoot.volumeCapacity, 0U);
  EXPECT_EQ(version.scanVersion, "");
  Load(std::string_view(whole).substr(0, dtl_at::kBuildPlatform + 3));
  EXPECT_EQ(scan_.logRoot.volumeCapacity, 77U);
  EXPECT_EQ(version.buildPlatform, "ppp");
}

TEST_F(ScanTest, TextsMayBeAnywhereInTheFile) {
  // At offset 0 is a length of 0x4446, then "TL", the revision's low half and a zero unit.
  Load(BuildDtl({.adjust = [](LogHeader& header, LogRoot& root) {
    header.serverString = root.rootString = 0;
  }}));
  EXPECT_EQ(scan_.srvrName, L"\x4C54\x8");
  EXPECT_EQ(scan_.rootPath, scan_.srvrName);
}

TEST_F(ScanTest, HeaderStrings) {
  using namespace std::string_literals;
  // clang-format off
  const std::pair<std::string, std::wstring> rows[] = {
      {"\x06\0a\0b\0\0\0"s, L"ab"},
      {"\x04\0a\0b\0"s, L"ab"},                       // no terminator
      {"\x05\0a\0b\0c"s, L"ab"},                      // an odd byte is dropped
      {"\x08\0a\0\0\0b\0\0\0"s, L"a"},                // ends at the first zero unit
      {"\x04\0\xFF\xFF\0\x80"s, {-1, -0x8000}},       // units are sign-extended
      {"\x04\0\x3D\xD8\0\xDE"s, {-0x27C3, -0x2200}},  // surrogates are not combined
      {"\x01\0a"s, L""}, {"\0\0a\0"s, L""},
      {"\0\x80"s + std::string(40000, 'a'), L""},  // 32768 and more count as 0
      {"\xFF\xFF"s + std::string(70000, 'a'), L""},
      {"\xFF\x7F"s + std::string(40000, 'a'), std::wstring(16383, L'\x6161')},
      {"\x10\0a\0b\0"s, L"ab"},   // the file ends
      {"\x10\0a\0b\0c"s, L"abc"},  // inside a unit
      {"\x10"s, L""}, {""s, L""},
  };
  // clang-format on
  for (const auto& [stored, text] : rows) {
    const UniqueFd file = FileInMemory("skip" + stored);
    EXPECT_EQ(ReadHeaderString(file.get(), 4), text) << testing::PrintToString(stored);
  }
  EXPECT_EQ(ReadHeaderString(FileInMemory("x").get(), 0xFFFFFFFF), L"");
}

TEST_F(ScanTest, TagsAreTrimmedExceptTheirLastCharacter) {
  const std::string full = "abcdefghijklmnopqrstuvwxyzABCDEF";  // 32 characters
  // clang-format off
  const std::pair<std::string, std::string> rows[] = {
      {full, full.substr(0, 31)}, {full + "GH", full.substr(0, 31)},
      {full.substr(0, 30) + " F", full.substr(0, 30)},  // the last one is never looked at
      {PaddedTag("a tag"), "a tag"}, {PaddedTag(" x"), " x"}, {"short   ", "short   "}, {"", ""},
      {full.substr(0, 28) + "   ", full.substr(0, 28)}, {full.substr(0, 31), full.substr(0, 31)},
      {full.substr(0, 28) + "  ", full.substr(0, 28) + "  "},
      {std::string(31, ' ') + "x", std::string(31, ' ') + "x"},
      {std::string(kBlankTag), std::string(kBlankTag)},
  };
  // clang-format on
  for (const auto& [tag, trimmed] : rows) {
    Load(BuildDtl({.tag = tag}));
    EXPECT_EQ(scan_.tagStr, std::wstring(trimmed.begin(), trimmed.end()));
  }
}

}  // namespace
}  // namespace tabulon
