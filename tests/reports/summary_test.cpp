#include "reports/summary.h"

#include <gtest/gtest.h>

#include <cstdlib>

#include "capture.h"
#include "config/settings.h"
#include "detail/detailfile.h"
#include "detail/scandetail.h"

namespace tabulon {
namespace {

// Lines that the scans of the program's tests do not show.
TEST(Summary, CifsScanWithOptionalLines) {
  rootType = kRootCifs;
  rootPath = L"D:\\";
  hasSACLs = true;
  logRoot.totalFileSize = 5'000'000;
  logRoot.volumeCapacity = 5'368'709'120;
  logRoot.availableSpace = 1'000;
  logRoot.directories = 3;
  logRoot.emptyDirectories = 1;
  logRoot.files = 12;
  allocSize = 1'048'576;
  uint32_t next = 1;
  for (uint32_t& count : logRoot.counts) count = next++;
  logRoot.counts[kCifsHardLinks] = 0;
  logHdr.uniqueSds = 21;
  logHdr.orphanedSids = 23;
  logHdr.orphanedAsOwner = 24;
  CapturedLog log;
  Report report;
  SummaryReport(report, "scan.dtl", {});
  const std::string text = log.text();
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
  allocSize = 0;
  ResetDetailFile();
}

}  // namespace
}  // namespace tabulon
