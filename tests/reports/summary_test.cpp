#include "reports/summary.h"

#include <gtest/gtest.h>

#include <cstdlib>

#include "capture.h"
#include "config/settings.h"
#include "detail/detailfile.h"
#include "detail/scandetail.h"

namespace tabulon {
namespace {

constexpr uint32_t kScanTime = 1636264800;  // 2021-11-07 06:00:00 UTC

class ReportTexts : public testing::Test {
 protected:
  void SetUp() override {
    setenv("TZ", "UTC", 1);
    ResetDetailFile();
    ResetSettings();
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
    allocSize = 0;
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

TEST_F(ReportTexts, CifsSummaryWithOptionalLines) {
  rootType = kRootCifs;
  rootPath = L"D:\\";
  hasSACLs = true;
  logRoot.emptyDirectories = 1;
  allocSize = 1'048'576;
  uint32_t next = 1;
  for (uint32_t& count : logRoot.counts) count = next++;
  logRoot.counts[kCifsHardLinks] = 0;
  logHdr.uniqueSds = 21;
  logHdr.orphanedSids = 23;
  logHdr.orphanedAsOwner = 24;
  const std::string text = Summary();
  EXPECT_EQ(text.substr(text.find("----")),
            "---- Totals for CIFS root: D:\\ (local disk)\n\n"
            "       Directories: 3\n        Empty dirs: 1\n             Files: 12\n"
            "   Total file size: 4.767mb (5,000,000)\n    Allocated size: 1.000mb (1,048,576)\n"
            "   Volume capacity: 5.000gb (5,368,709,120)\n   Available space: 1,000 bytes\n"
            "   Encrypted files: 1\n  Compressed files: 2\n     Offline files: 4\n"
            "         ADS files: 3\n  Symlinks (Files): 6\n   Symlinks (Dirs): 7\n"
            "  MountPoint Links: 8\n   Junction Points: 9\n\n        Unique SDs: 21\n"
            "              SIDs: 0\n         orphaned SIDs: 23\n              as owner: 24\n"
            "      SACLs are present\n\n");
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
            "---- File size distribution\n\n              up to 1024: 2\n"
            "           up to 1048576: 1\n       more than 1048576: 2\n\n"
            "---- File date distribution: MODIFY\n\n     03-Jan-70:  3\n     02-Jan-70:  1\n\n"
            "---- File date distribution: ACCESS\n\n     07-Nov-21:  0\n\n");
}

}  // namespace
}  // namespace tabulon
