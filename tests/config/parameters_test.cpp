#include "config/parameters.h"

#include <functional>

#include "configtest.h"

namespace tabulon {
namespace {

using ::testing::ElementsAre;

using Parameters = ConfigTest;

TEST_F(Parameters, KeywordsSetTheirGlobals) {
  struct Row {
    const wchar_t* key;
    const wchar_t* value;
    std::function<uint64_t()> setting;
    uint64_t expected;
  };
  const auto unitName = [](const wchar_t* name) { return [=] { return maxPathUnitName == name; }; };
  const Row rows[] = {
      {L"FileIncrement", L"4096", [] { return fileIncr; }, 4096},
      {L"fileincrement", L"4294967294", [] { return fileIncr; }, 4294967294},
      {L"timebase", L"ScanDate", [] { return scanDateRelative; }, 1},
      {L"TIMEBASE", L"NOW", [] { return scanDateRelative; }, 0},
      {L"timebase", L"scandate", [] { return scanDateRelative; }, 0},
      {L"csvhdrs", L"No", [] { return csvHdrs; }, 0},
      {L"maxpathunits", L"bytes", [] { return maxPathUnits; }, kPathWideBytes},
      {L"maxpathunits", L"bytes", unitName(L"bytes"), true},
      {L"maxpathunits", L"utfbytes", unitName(L"UTF-8 encoded bytes"), true},
      {L"isocodepage", L"8859-16", [] { return isoCodepage; }, 16},
      {L"isocodepage", L"8859-16", [] { return isoCodeName == L"8859-16"; }, true},
      {L"permissionform", L"Hex", [] { return aclPerms; }, 3},
      {L"textoutput", L"unicode", [] { return textFormat; }, kTextUnicode},
      {L"pathform", L"relative", [] { return pathFormDflt; }, 16},
      {L"nameform", L"FullPath", [] { return namesDflt; }, 2},
      {L"dateformat", L"%Q and 100%", [] { return dateFmt == L"%Q and 100%"; }, true},
      // The first report directory stays.
      {L"reportdirectory", L"first", [] { return reportDir == L"first"; }, true},
      {L"reportdirectory", L"second", [] { return reportDir == L"first"; }, true},
  };
  for (const Row& row : rows) {
    ParameterLine(row.key, row.value);
    EXPECT_EQ(row.setting(), row.expected) << Formatted(L"%ls=%ls", row.key, row.value);
  }
}

TEST_F(Parameters, CsvSeparatorMayBeATab) {
  ParameterLine(L"csvsep", L"");
  EXPECT_EQ(csvSep, 0);
  ParameterLine(L"csvsep", L"t");
  EXPECT_EQ(csvSep, L'\t');
  csvSep = 0;
  ParameterLine(L"csvsep", L"T");
  EXPECT_EQ(csvSep, L'T');
}

TEST_F(Parameters, SizeBandsEndInACatchAll) {
  constexpr uint64_t kMax = 9223372036854775807U;
  ParameterLine(L"FileSizeBands", L"1K,1M,1G");
  EXPECT_THAT(sizeBands.limits, ElementsAre(1024, 1048576, 1073741824, kMax));
  ParameterLine(L"filesizebands", L"1000,1K");
  EXPECT_THAT(sizeBands.limits, ElementsAre(1000, 1024, kMax));
  ParameterLine(L"filesizebands", L"");
  EXPECT_THAT(sizeBands.limits, ElementsAre(0, kMax));
}

TEST_F(Parameters, DateBandsGoToTheTableOfTheirLetter) {
  setenv("TZ", "UTC", 1);
  tzset();
  logHdr.scanTime = 86400 * 400 + 3600;
  constexpr uint64_t kDay = 86400;
  constexpr uint64_t kMidnight = kDay * 400;
  ParameterLine(L"MDATEBANDS", L"1y,30D,2w,0d");
  EXPECT_THAT(mdateBands.limits, ElementsAre(kMidnight - 365 * kDay, kMidnight - 30 * kDay,
                                             kMidnight - 14 * kDay, kMidnight));
  ParameterLine(L"cdatebands", L"19700102,20070228");
  EXPECT_THAT(cdateBands.limits, ElementsAre(kDay, 1172620800));
  ParameterLine(L"adatebands", L"1d");
  EXPECT_THAT(adateBands.limits, ElementsAre(kMidnight - kDay));
  ParameterLine(L"adatebands", L"3d");
  EXPECT_THAT(adateBands.limits, ElementsAre(kMidnight - 3 * kDay));
}

TEST_F(Parameters, LargeNumbersTakeSuffixes) {
  EXPECT_EQ(LargeNumericParameter(L"k", L"5G"), 5368709120U);
  EXPECT_EQ(LargeNumericParameter(L"k", L"4294967296"), 4294967296U);
  EXPECT_FATAL(LargeNumericParameter(L"k", L"5GB"), "Invalid numeric argument: k=5GB\n");
}

}  // namespace
}  // namespace tabulon
