#include "detail/detailfile.h"

#include <fcntl.h>
#include <gmock/gmock.h>

#include <string>

#include "support.h"
#include "tools/dtlbuild.h"

namespace tabulon {
namespace {

class DetailFileTest : public testing::Test {
 protected:
  ~DetailFileTest() override { ResetDetailFile(); }

  std::string Store(std::string_view bytes) {
    const std::string path = dir_ / "x.dtl";
    WriteFile(path, bytes);
    dtlFile = UniqueFd(open(path.c_str(), O_RDONLY | O_CLOEXEC));
    return path;
  }
  // Loads a file of these bytes; the version block is the result.
  VersionBlock Load(std::string_view bytes, bool adsFull = false, bool qvaWanted = false) {
    Store(bytes);
    VersionBlock version{"old", "old", "old"};
    LoadDetailFile("x.dtl", adsFull, qvaWanted, version);
    return version;
  }

  TempDir dir_;
};
using DetailFileDeathTest = DetailFileTest;

TEST_F(DetailFileDeathTest, RefusesWhatItCannotRead) {
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
  const struct {
    uint32_t magic;
    uint32_t revision;
    bool adsFull;
    bool qvaWanted;
    std::string message;
  } rows[] = {
      {0, 8, false, false, kInvalid},
      {0x46445446, 8, false, false, kInvalid},
      {kMagicIncomplete, 8, false, false, kIncomplete},
      {kMagicIncomplete, 0x105, true, true, kIncomplete},
      {kMagicFinished, 0x105, true, true, kAix},
      {kMagicBeta, 0x105, false, false, kAix},
      {kMagicBeta, 0x205, false, true, kBeta},
      {kMagicFinished, 0x205, false, true, kOther},
      {kMagicFinished, 9, false, false, kOther},
      {kMagicBeta, 0, false, false, kBeta},
      {kMagicFinished, 6, true, true, kNoAds},
      {kMagicFinished, 6, false, true, kUntagged},
      {kMagicBeta, 0x208, true, true, kUntagged},
  };
  for (const auto& row : rows) {
    const std::string bytes = BuildDtl({.magic = row.magic, .revision = row.revision});
    EXPECT_EXIT(Load(bytes, row.adsFull, row.qvaWanted), testing::ExitedWithCode(1),
                testing::Eq(row.message));
  }
  const std::string whole = BuildDtl({});
  for (const size_t size : {0, 1, 4, 87}) {
    EXPECT_EXIT(Load(whole.substr(0, size)), testing::ExitedWithCode(1), testing::Eq(kInvalid));
  }
  EXPECT_EXIT(Load(BuildDtl({.magic = kMagicIncomplete}).substr(0, 87)), testing::ExitedWithCode(1),
              testing::Eq(kInvalid));
}

TEST_F(DetailFileTest, RevisionsDecideWhatRecordsCarry) {
  const struct {
    uint32_t revision;
    bool streams;
    std::string scanVersion;
  } rows[] = {
      {6, false, ""}, {7, true, ""}, {8, true, "4.1"}, {0x206, false, ""}, {0xABCD08, true, "4.1"}};
  for (const auto& row : rows) {
    const VersionBlock version = Load(BuildDtl(
        {.magic = kMagicBeta, .revision = row.revision, .version = {"4.1", "Linux", "x86_64"}}));
    EXPECT_EQ(dtlRev7_OrHigher, row.streams) << row.revision;
    EXPECT_EQ(version.scanVersion, row.scanVersion) << row.revision;
    EXPECT_EQ(dtlVersionHdrPresent, !row.scanVersion.empty());
  }
}

TEST_F(DetailFileTest, VersionFieldsEndAtTheirWidth) {
  const VersionBlock version =
      Load(BuildDtl({.version = {"123456789012", std::string(32, 'p'), std::string(40, 'a')}}));
  EXPECT_EQ(version.scanVersion, "123456789012");
  EXPECT_EQ(version.buildPlatform, std::string(32, 'p'));
  EXPECT_EQ(version.buildArchitecture, std::string(32, 'a'));
}

TEST_F(DetailFileTest, BlocksCutShortEndInZeros) {
  const std::string whole = BuildDtl({.version = {"4.1", "Linux", "x86_64"},
                                      .availableSpace = 0x1122334455667788,
                                      .volumeCapacity = 77});
  VersionBlock version = Load(std::string_view(whole).substr(0, dtl_at::kAvailableSpace + 2));
  EXPECT_EQ(logRoot.availableSpace, 0x7788U);
  EXPECT_EQ(logRoot.volumeCapacity, 0U);
  EXPECT_EQ(version.scanVersion, "");
  version = Load(std::string_view(whole).substr(0, dtl_at::kBuildPlatform + 3));
  EXPECT_EQ(logRoot.volumeCapacity, 77U);
  EXPECT_EQ(version.scanVersion, "4.1");
  EXPECT_EQ(version.buildPlatform, "Lin");
}

TEST_F(DetailFileTest, StringsAndScanKind) {
  ScanSpec spec{
      .kind = ScanKind::kCifs, .flags = kHeaderSacls, .server = "srv", .rootPath = "C:\\"};
  Load(BuildDtl(spec));
  EXPECT_EQ(rootType, kRootCifs);
  EXPECT_EQ(pathSep, L'\\');
  EXPECT_TRUE(hasSACLs && diskLtrRoot);
  EXPECT_FALSE(sharePathKnown);
  EXPECT_EQ(srvrName, L"srv");
  EXPECT_EQ(fsysHost, L"srv");
  EXPECT_EQ(rootPath, L"C:\\");
  EXPECT_EQ(qvaRoot, L"C:\\");
  EXPECT_EQ(&DetailRecordLayout(), &kCifsRecord);

  spec.kind = ScanKind::kNfs;
  spec.share = "/share";
  spec.host = "host";
  spec.qvaRoot = "qva";
  Load(BuildDtl(spec));
  EXPECT_EQ(rootType, kRootNfs);
  EXPECT_EQ(pathSep, L'/');
  EXPECT_FALSE(hasSACLs || diskLtrRoot);
  EXPECT_TRUE(sharePathKnown);
  EXPECT_EQ(sharePath, L"/share");
  EXPECT_EQ(fsysHost, L"host");
  EXPECT_EQ(qvaRoot, L"qva");
  EXPECT_EQ(&DetailRecordLayout(), &kNfsRecord);

  // At offset 0 stands a length of 0x4446, then "TL", the revision's low half and a zero unit.
  spec.adjust = [](LogHeader& header, LogRoot& root) { header.serverString = root.rootString = 0; };
  Load(BuildDtl(spec));
  EXPECT_EQ(srvrName, L"\x4C54\x8");
  EXPECT_EQ(rootPath, srvrName);
}

TEST_F(DetailFileTest, HeaderStrings) {
  using namespace std::string_literals;
  const struct {
    std::string stored;
    std::wstring text;
  } rows[] = {
      {"\x06\0a\0b\0\0\0"s, L"ab"},
      {"\x04\0a\0b\0"s, L"ab"},                       // no terminator
      {"\x05\0a\0b\0c"s, L"ab"},                      // an odd byte is dropped
      {"\x08\0a\0\0\0b\0\0\0"s, L"a"},                // ends at the first zero unit
      {"\x04\0\xFF\xFF\0\x80"s, {-1, -0x8000}},       // units are sign-extended
      {"\x04\0\x3D\xD8\0\xDE"s, {-0x27C3, -0x2200}},  // surrogates are not combined
      {"\x01\0a"s, L""},
      {"\0\0a\0"s, L""},
      {"\0\x80"s + std::string(40000, 'a'), L""},  // 32768 and more count as 0
      {"\xFF\xFF"s + std::string(70000, 'a'), L""},
      {"\xFF\x7F"s + std::string(40000, 'a'), std::wstring(16383, L'\x6161')},
      {"\x10\0a\0b\0c"s, L"ab"},  // the file ends
      {"\x10"s, L""},
      {""s, L""},
  };
  for (const auto& row : rows) {
    Store("skip" + row.stored);
    EXPECT_EQ(ReadHeaderString(dtlFile.get(), 4), row.text) << testing::PrintToString(row.stored);
  }
  EXPECT_EQ(ReadHeaderString(dtlFile.get(), 0xFFFFFFFF), L"");
}

TEST_F(DetailFileTest, TagsAreTrimmedExceptTheirLastCharacter) {
  const std::string full = "abcdefghijklmnopqrstuvwxyzABCDEF";  // 32 characters
  const struct {
    std::string tag;
    std::string trimmed;
  } rows[] = {
      {full, full.substr(0, 31)},
      {full.substr(0, 30) + " F", full.substr(0, 30)},  // the last one is never looked at
      {full + "GH", full.substr(0, 31)},
      {PaddedTag("tag"), "tag"},
      {PaddedTag("a tag"), "a tag"},
      {PaddedTag(" x"), " x"},
      {std::string(31, ' ') + "x", std::string(31, ' ') + "x"},
      {std::string(kBlankTag), std::string(kBlankTag)},
      {"short   ", "short   "},
      {full.substr(0, 20) + std::string(11, ' '), full.substr(0, 20) + std::string(11, ' ')},
      {"", ""},
  };
  for (const auto& row : rows) {
    Load(BuildDtl({.tag = row.tag}));
    EXPECT_EQ(tagStr, std::wstring(row.trimmed.begin(), row.trimmed.end()));
  }
}

}  // namespace
}  // namespace tabulon
