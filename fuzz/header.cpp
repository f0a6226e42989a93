// A whole scan file: header, root and version block, strings, security or ID section, and what the
// summary and the SID use report make of them.
#include "fuzz/target.h"
#include "reports/siduse.h"
#include "reports/summary.h"

using namespace tabulon;

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  RunPart([&] {
    const Scan scan = LoadScan(MemoryFile(AsText(data, size)), "x.dtl", {});
    Report report;
    if (scan.isCifs()) DisplaySidUse(report, scan);
    SummaryReport(report, {scan, "x.dtl", scan.qvaRoot});
  });
  return 0;
}
