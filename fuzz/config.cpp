// A configuration file, and the reports that it asks for on a sound scan. The first byte chooses
// the scan kind.
#include "config/configfile.h"

#include <cstdio>
#include <memory>

#include "fuzz/target.h"
#include "reports/report.h"
#include "reports/reportkinds.h"

using namespace tabulon;

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  RunPart([&] {
    const Scan& scan = SampleScan((data[0] & 1) != 0);
    // The input must not reach the machine's own files: nothing is made in report directories, and
    // the directory that it names is not the first one.
    Settings options;
    options.qvaFlag = true;
    options.reportDir = std::string("/");
    options.catList = {L"all"};
    const std::unique_ptr<FILE, int (*)(FILE*)> text(
        fmemopen(const_cast<uint8_t*>(data + 1), size - 1, "r"), &std::fclose);
    if (!text) return;  // an empty one
    Configuration made = ReadConfiguration(text.get(), scan, kReportKinds, options);
    ReportRun run{scan, made.settings, "x.dtl", scan.qvaRoot};
    ReportSet reports(made.reportList, run);
    ScanDetail(scan, [&](Pass& pass) { reports.Add(pass); });
    reports.Finish();
    reports.Write(nullptr);
  });
  return 0;
}
