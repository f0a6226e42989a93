#include "config/reportsetup.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include "base/loganderr.h"
#include "config/reportline.h"
#include "configtest.h"

namespace tabulon {
namespace {

using ::testing::MatchesRegex;

struct Line {
  const wchar_t* key;
  const wchar_t* value;
};

class ReportSetup : public ConfigTest {
 protected:
  ReportSetup() { reportDir = Wide(directory()); }

  static Report& Define(std::initializer_list<Line> lines) {
    Report& report = reportList.emplace_back();
    for (const Line& line : lines) ReportLine(line.key, line.value, report);
    return report;
  }
  static Report& SetUp(std::initializer_list<Line> lines) {
    Report& report = Define(lines);
    InitializeReportEntry(report);
    return report;
  }
};

TEST_F(ReportSetup, DefaultsFillWhatTheDefinitionLeftOpen) {
  const Report& plain = SetUp({{L"type", L"custom"}});
  EXPECT_EQ(plain.format, kFormatText);
  EXPECT_EQ(plain.flags, kFlagFileInDir | kFlagAbsolute);
  EXPECT_EQ(plain.fields, "");
  EXPECT_TRUE(plain.positions.IsOpen());
  ASSERT_NE(plain.currentDir, nullptr);

  namesDflt = kFlagFullPath;
  pathFormDflt = kFlagRelative;
  const Report& csv = SetUp({{L"type", L"custom"}, {L"output", L"csv"}, {L"totals", L"yes"}});
  EXPECT_EQ(csv.flags, kFlagFullPath | kFlagRelative | kFlagTotals);
  EXPECT_EQ(csv.fields, "\x1\x3\x6");
  EXPECT_EQ(csv.totalTag, L"Custom file report");

  const Report& own = SetUp({{L"type", L"custom"},
                             {L"nameform", L"fileindir"},
                             {L"pathform", L"absolute"},
                             {L"totals", L"yes"},
                             {L"totaltag", L"tag"}});
  EXPECT_EQ(own.flags, kFlagFileInDir | kFlagAbsolute | kFlagTotals);
  EXPECT_EQ(own.totalTag, L"tag");

  const Report& summary = SetUp({{L"type", L"summary"}, {L"output", L"csv"}});
  EXPECT_EQ(summary.fields, "\x2\x3\x5\xB");
  EXPECT_FALSE(summary.positions.IsOpen());
}

TEST_F(ReportSetup, DuplicatesShowFullPaths) {
  const Report& report = SetUp({{L"type", L"duplicates"}, {L"nameform", L"fileindir"}});
  EXPECT_EQ(report.dupFields, kDupDefault);
  EXPECT_NE(report.flags & kFlagFullPath, 0U);
  EXPECT_EQ(SetUp({{L"type", L"duplicates"}, {L"dupcheck", L"name"}}).dupFields, kDupName);
}

TEST_F(ReportSetup, GroupingReportsHaveDefaults) {
  const Report& report = SetUp({{L"type", L"filetypes"}});
  EXPECT_EQ(report.extLength, 4U);
  EXPECT_EQ(report.typeSort, kSortBySize);
}

TEST_F(ReportSetup, ReportFilesAreMadeAndEmptied) {
  WriteFile(Path("a.txt"), "old");
  const Report& standard = SetUp({{L"type", L"totals"}, {L"reportfile", L"a.txt"}});
  EXPECT_EQ(ReadFile(Path("a.txt")), "");
  EXPECT_EQ(standard.reportPathNarrow, Path("a.txt"));
  EXPECT_EQ(standard.reportPath, Wide(Path("a.txt")));
  EXPECT_FALSE(standard.stream.IsOpen());

  textFormat = kTextUnicode;
  SetUp({{L"type", L"totals"}, {L"reportfile", L"a.txt"}});
  EXPECT_EQ(ReadFile(Path("a.txt")), "\xFF\xFE");

  ASSERT_EQ(mkfifo(Path("pipe").c_str(), 0600), 0);
  const UniqueFd reader(open(Path("pipe").c_str(), O_RDONLY | O_NONBLOCK));
  Report& piped = SetUp({{L"type", L"totals"}, {L"reportfile", L"pipe"}});
  ASSERT_TRUE(piped.stream.IsOpen());
  piped.stream.Write(L"x");
  piped.stream.Close();
  char bytes[8] = {};
  ASSERT_EQ(read(reader.get(), bytes, sizeof bytes), 4);
  EXPECT_EQ(std::string(bytes, 4), std::string("\xFF\xFEx\0", 4));

  qvaFlag = true;
  SetUp({{L"type", L"totals"}, {L"reportfile", L"none.txt"}});
  EXPECT_NE(access(Path("none.txt").c_str(), F_OK), 0);
}

TEST_F(ReportSetup, ScanGoesOnWithoutAPositionFile) {
  tempDir = "/proc";
  Report& report = Define({{L"type", L"custom"}});
  EXPECT_EXIT(
      {
        OpenLogErrFiles(0, "/dev/stderr", nullptr);
        InitializeReportEntry(report);
        CloseLogErrFiles();
        std::exit(report.positions.IsOpen() ? 1 : 0);
      },
      ::testing::ExitedWithCode(0), MatchesRegex("Cannot open tmp file /proc/tabul[^\n]*\n"));
  tempDir.reset();
}

TEST_F(ReportSetup, ManyReportsFitFewDescriptors) {
  rlimit before{};
  getrlimit(RLIMIT_NOFILE, &before);
  const rlimit few{64, before.rlim_max};
  setrlimit(RLIMIT_NOFILE, &few);
  for (int i = 0; i < 300; ++i) {
    const std::wstring name = L"r" + std::to_wstring(i);
    SetUp({{L"type", i % 2 == 0 ? L"custom" : L"uidtotals"}, {L"reportfile", name.c_str()}});
    EXPECT_EQ(reportList.back().positions.IsOpen(), i % 2 == 0);
  }
  setrlimit(RLIMIT_NOFILE, &before);
  EXPECT_EQ(access(Path("r299").c_str(), F_OK), 0);
}

}  // namespace
}  // namespace tabulon
