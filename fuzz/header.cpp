// A whole scan file: header, root and version block, strings, security or ID section, and what the
// summary and the SID use report make of them.
#include "detail/rest.h"
#include "fuzz/target.h"
#include "reports/report.h"
#include "reports/reportkinds.h"
#include "tests/support/openscan.h"

using namespace tabulon;

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  RunPart([&] {
    const Scan scan = OpenInMemory(AsText(data, size));
    Pool pool;
    IdTree(scan.dtlFile.get(), scan.logHdr, pool);
    const Settings settings;
    ReportRun run{scan, settings, "x.dtl", scan.qvaRoot};
    for (const uint32_t type : {kReportSidUse, kReportSummary}) {
      ReportDefinition report;
      report.kind = &KindOf(type);
      ReportOutput output(report, settings);
      report.kind->make(report, run)->Write(output);
    }
  });
  return 0;
}
