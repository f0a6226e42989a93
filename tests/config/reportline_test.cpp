#include "config/reportline.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include "base/loganderr.h"
#include "base/uniquefd.h"
#include "config/reportdefs.h"
#include "config/reportsetup.h"
#include "configtest.h"

namespace tabulon {
namespace {

using ::testing::ElementsAre;
using ::testing::MatchesRegex;

// A report of the list, its lines applied one by one.
class ReportLines : public ConfigTest {
 protected:
  ReportLines() { reportDir = directory(); }

  Report& Add(const wchar_t* type) {
    Report& report = reportList.emplace_back();
    ReportLine(L"type", type, report, scan_);
    return report;
  }
  Report& SetUp(const wchar_t* type, const wchar_t* file) {
    Report& report = Add(type);
    ReportLine(L"reportfile", file, report, scan_);
    InitializeReportEntry(report, scan_);
    return report;
  }
};

TEST_F(ReportLines, SummaryAndSidUseMoveToTheFront) {
  Add(L"custom");
  Report& first = Add(L"siduse");
  for (const wchar_t* type : {L"Summary", L"SIDUSE", L"summary"}) Add(type);
  // Entries keep their identity: lines that follow reach the right report, and replace earlier ones
  // except the duplicates' fields.
  ReportLine(L"title", L"first", first, scan_);
  for (const wchar_t* value : {L"yes", L"no"}) ReportLine(L"totals", value, first, scan_);
  for (const wchar_t* value : {L"Name,mdate", L"size,CDATE"})
    ReportLine(L"dupcheck", value, first, scan_);
  for (const wchar_t* value : {L"size,mdate", L"uid,uid,attrs"})
    ReportLine(L"fields", value, first, scan_);
  EXPECT_EQ(first.flags & kFlagTotals, 0U);
  EXPECT_EQ(first.dupFields, kDupName | kDupMdate | kDupSize | kDupCdate);
  EXPECT_EQ(first.fields, "\x1\x4F\x4F\x88");
  std::vector<std::wstring> types;
  for (const Report& report : reportList) types.push_back(report.typeName);
  EXPECT_THAT(types, ElementsAre(L"summary", L"Summary", L"SIDUSE", L"siduse", L"custom"));
  EXPECT_EQ(std::prev(reportList.end(), 2)->title, L"first");
}

TEST_F(ReportLines, ReportFilesAreMadeAndEmptied) {
  WriteFile(Path("a.txt"), "old");
  EXPECT_FALSE(SetUp(L"totals", L"a.txt").stream.IsOpen());
  EXPECT_EQ(ReadFile(Path("a.txt")), "");

  textFormat = kTextUnicode;
  ASSERT_EQ(mkfifo(Path("pipe").c_str(), 0600), 0);
  const UniqueFd reader(open(Path("pipe").c_str(), O_RDONLY | O_NONBLOCK));
  Report& piped = SetUp(L"totals", L"pipe");
  ASSERT_TRUE(piped.stream.IsOpen());
  piped.stream.Write(L"x");
  piped.stream.Close();
  char bytes[8] = {};
  ASSERT_EQ(read(reader.get(), bytes, sizeof bytes), 4);
  EXPECT_EQ(std::string(bytes, 4), std::string("\xFF\xFEx\0", 4));

  qvaFlag = true;
  SetUp(L"totals", L"none.txt");
  EXPECT_NE(access(Path("none.txt").c_str(), F_OK), 0);
}

TEST_F(ReportLines, ScanGoesOnWithoutAPositionFile) {
  const TempPlace place("/proc");
  Report& report = Add(L"custom");
  const auto run = [&] {
    Logs logs;
    OpenLogErrFiles(0, Path("list").c_str(), nullptr);
    InitializeReportEntry(report, scan_);
    CloseLogErrFiles();
  };
  EXPECT_ENDS(run(), 0,
              MatchesRegex("Error writing '/proc/tabul[^\n]*'\n  .p2. No such file or dir.*\n"));
  EXPECT_THAT(ReadFile(Path("list")), ::testing::StartsWith("Cannot open tmp file /proc/tabul"));
  EXPECT_FALSE(report.positions.IsOpen());
}

}  // namespace
}  // namespace tabulon
