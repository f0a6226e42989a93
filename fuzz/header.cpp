// A whole scan file: header, root and version block, strings, security or ID section, and what the
// summary and the SID use report make of them.
#include "detail/detailfile.h"
#include "detail/securityobjects.h"
#include "fuzz/target.h"
#include "reports/siduse.h"
#include "reports/summary.h"

using namespace tabulon;

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  RunPart([&] {
    dtlFile = MemoryFile(AsText(data, size));
    VersionBlock version;
    LoadDetailFile("x.dtl", false, false, version);
    Report report;
    if (rootType == kRootNfs) {
      LoadIdObjects(dtlFile.get(), logHdr);
    } else {
      sdTempFile = TempFile::Create("sdtemp.tmp");
      LoadSecurityObjects(dtlFile.get(), logHdr);
      DisplaySidUse(report);
    }
    SummaryReport(report, "x.dtl", version);
  });
  return 0;
}
