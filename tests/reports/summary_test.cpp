#include "reports/summary.h"

#include <gtest/gtest.h>

#include <cstdlib>

#include "capture.h"
#include "config/settings.h"
#include "detail/detailfile.h"
#include "detail/scandetail.h"
#include "reports/totals.h"

namespace tabulon {
namespace {

constexpr uint32_t kScanTime = 1636264800;  // 2021-11-07 06:00:00 UTC

class ReportTexts : public testing::Test {
 protected:
  void SetUp() override {
    setenv("TZ", "UTC", 1);
    ResetDetailFile();
    ResetSettings();
    csvSep = L',';
    logHdr.scanTime = kScanTime;
    logRoot.totalFileSize = 5'000'000;
    logRoot.volumeCapacity = 5'368'709'120;
    logRoot.availableSpace = 1'000;
    logRoot.directories = 3;
    logRoot.files = 12;
    rootType = kRootNfs;
    srvrName = L"filer";
    rootPath = L"/";
    tagStr = L" ";
  }
  void TearDown() override {
    for (BandTable* bands : {&sizeBands, &cdateBands, &mdateBands, &adateBands}) *bands = {};
    reportList.clear();
    allocSize = 0;
    fileIncr = 0;
    ResetDetailFile();
    ResetSettings();
  }

  std::string Summary(const VersionBlock& version = {}) {
    CapturedLog log;
    Report report;
    SummaryReport(report, "scan.dtl", version);
    return log.text();
  }
};

TEST_F(ReportTexts, NfsSummary) {
  logRoot.counts[kNfsHardLinks] = 7;
  logRoot.counts[kNfsSymlinks] = 8;
  EXPECT_EQ(Summary(),
            "\n\nVelmora Filesystem Audit Summary Report\n\n"
            "Source file: scan.dtl, Created: Sun, 07 Nov, 2021 at 06:00:00\n\n"
            "Server: filer"
            "\n---- Totals for NFS root: / (local filesystem)\n\n"
            "       Directories: 3\n"
            "             Files: 12\n"
            "   Total file size: 4.767mb (5,000,000)\n"
            "   Volume capacity: 5.000gb (5,368,709,120)\n"
            "   Available space: 1,000 bytes\n"
            "    Symbolic links: 8\n"
            "        Hard links: 7\n"
            "\n");
}

TEST_F(ReportTexts, CifsSummaryWithOptionalLines) {
  rootType = kRootCifs;
  rootPath = L"D:\\";
  sharePathKnown = hasSACLs = dtlVersionHdrPresent = true;
  sharePath = L"\\\\filer\\d";
  tagStr = L"Q4 audit";
  logRoot.emptyDirectories = 1;
  allocSize = 1'048'576;
  uint32_t next = 1;
  for (uint32_t& count : logRoot.counts) count = next++;
  logRoot.counts[kCifsHardLinks] = 0;
  logHdr.uniqueSds = 21;
  logHdr.orphanedSids = 23;
  logHdr.orphanedAsOwner = 24;
  testing::internal::CaptureStdout();
  const std::string text = Summary({"8.1", "Linux", "x86_64"});
  Console().Flush();
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "8.1 Linux x86_64");
  EXPECT_EQ(text.substr(text.find("Server")),
            "Server: filer"
            "\n\nScan Version : 8.1\nBuild Platform : Linux\nBuild Architecture : x86_64\n\n"
            ",  QVA tag: Q4 audit"
            "\n---- Totals for CIFS root: D:\\ (\\\\filer\\d)\n\n"
            "       Directories: 3\n"
            "        Empty dirs: 1\n"
            "             Files: 12\n"
            "   Total file size: 4.767mb (5,000,000)\n"
            "    Allocated size: 1.000mb (1,048,576)\n"
            "   Volume capacity: 5.000gb (5,368,709,120)\n"
            "   Available space: 1,000 bytes\n"
            "   Encrypted files: 1\n"
            "  Compressed files: 2\n"
            "     Offline files: 4\n"
            "         ADS files: 3\n"
            "  Symlinks (Files): 6\n"
            "   Symlinks (Dirs): 7\n"
            "  MountPoint Links: 8\n"
            "   Junction Points: 9\n"
            "\n        Unique SDs: 21\n"
            "              SIDs: 0\n"
            "         orphaned SIDs: 23\n"
            "              as owner: 24\n"
            "      SACLs are present\n"
            "\n");
  sharePathKnown = hasSACLs = false;
  EXPECT_NE(Summary().find("root: D:\\ (local disk)\n"), std::string::npos);
  EXPECT_NE(Summary().find("      SACLs are not present\n"), std::string::npos);
  rootPath = L"\\\\filer\\d";
  EXPECT_NE(Summary().find("root: \\\\filer\\d\n\n"), std::string::npos);
}

TEST_F(ReportTexts, DistributionsFollowTheCounts) {
  sizeBands.SetLimits({1024, 1048576, INT64_MAX});
  for (const uint64_t size : {0u, 1024u, 1025u, 1048577u, 99999999u}) UpdateSizeBands(size);
  mdateBands.SetLimits({86400, 172800});
  for (const uint32_t time : {86399u, 86400u, 86401u, 172800u}) UpdateDateBands(time, mdateBands);
  adateBands.SetLimits({kScanTime});
  const std::string text = Summary();
  EXPECT_EQ(text.substr(text.find("---- File")),
            "---- File size distribution\n\n"
            "              up to 1024: 2\n"
            "           up to 1048576: 1\n"
            "       more than 1048576: 2\n"
            "\n"
            "---- File date distribution: MODIFY\n\n"
            "     03-Jan-70:  3\n"
            "     02-Jan-70:  1\n"
            "\n"
            "---- File date distribution: ACCESS\n\n"
            "     07-Nov-21:  0\n"
            "\n");
}

TEST_F(ReportTexts, TextSummaryIsAnnouncedTwiceAndCsvOnce) {
  for (const int format : {kFormatText, kFormatCsv}) {
    CapturedLog log;
    Report report;
    report.format = format;
    report.title = L"Audit";
    report.reportPath = L"out/audit.txt";
    AttachToMemory(report.stream);
    testing::internal::CaptureStderr();
    SummaryReport(report, "scan.dtl", {});
    ErrorConsole().Flush();
    const std::string path = "Path = out/audit.txt\n";
    const std::string line = "Report 'Audit' written to out/audit.txt\n";
    const bool twice = format == kFormatText;
    EXPECT_EQ(testing::internal::GetCapturedStderr(), twice ? path + path : path);
    EXPECT_EQ(log.text(), twice ? line + line : line);
  }
}

TEST_F(ReportTexts, CsvSummaryHasTheFieldsInTheirOrder) {
  tagStr = L"tag";
  fsysHost = L"host";
  qvaRoot = L"share-x ";
  logRoot.files = 4'000'000'000;
  logRoot.availableSpace = UINT64_MAX;
  struct {
    std::string fields;
    std::optional<std::wstring> format;
    std::string line;
  } const rows[] = {
      {"\1\2\3\4\5\6\7\10\11\12\13", std::nullopt,
       "tag;host;share-x ;NFS;11/07/21 06:00:00;5368709120;-1;5000000;-294967296;3;scan.dtl\n"},
      {"\5\5\4", L"%n", "1636264800;1636264800;NFS\n"},
      {"\14\2\77", std::nullopt, ";host;\n"},
      {"", std::nullopt, "\n"},
  };
  csvSep = L';';
  for (const auto& row : rows) {
    CapturedLog log;
    Report report;
    report.format = kFormatCsv;
    report.fields = row.fields;
    dateFmt = row.format;
    SummaryReport(report, "scan.dtl", {});
    EXPECT_EQ(log.text(), row.line);
  }
}

TEST_F(ReportTexts, TotalsListTheReportsThatAskedForThem) {
  const auto add = [](const wchar_t* title, const wchar_t* tag, int active, uint32_t flags) {
    Report& report = reportList.emplace_back();
    report.title = title;
    report.totalTag = tag;
    report.active = active;
    report.flags = flags;
    report.count = 1234567;
    report.totalBytes = 1'048'576;
    report.allocatedBytes = 2'097'152;
  };
  add(L"Old files", L"", 1, kFlagTotals);
  add(L"Inactive and very long title", L"", 0, kFlagTotals);
  add(L"Unasked and very long title", L"", 1, kFlagFullPath);
  Report& totals = reportList.emplace_back();
  totals.title = L"Sum";
  totals.totalTag = L"none";
  totals.flags = kFlagTotals | kFlagFullPath;
  const auto write = [&](int format, uint32_t unit) {
    CapturedLog log;
    totals.format = format;
    fileIncr = unit;
    TotalsReport(totals);
    return log.text();
  };
  EXPECT_EQ(write(kFormatText, 0),
            "\n---- Sum ----\n\n"
            "Old files   1,234,567   1.000mb (1,048,576)         \n"
            "     none           0   0 bytes                     \n");
  EXPECT_EQ(write(kFormatNone, 4096),
            "\n---- Sum ----\n\n"
            "Old files   1,234,567   1.000mb (1,048,576)          2.000mb (2,097,152)\n"
            "     none           0   0 bytes                      0 bytes\n");
  EXPECT_EQ(write(kFormatCsv, 0), "Old files,1234567,1048576\nnone,0,0\n");
  EXPECT_EQ(write(kFormatCsv, 4096), "Old files,1234567,1048576,2097152\nnone,0,0,0\n");
}

}  // namespace
}  // namespace tabulon
