// A configuration file, and the reports that it asks for on a sound scan. The first byte chooses
// the scan kind.
#include "config/configfile.h"

#include <fcntl.h>
#include <unistd.h>

#include "config/settings.h"
#include "driver/reportrunners.h"
#include "fuzz/samples.h"
#include "fuzz/target.h"
#include "reports/matchrecord.h"

using namespace tabulon;

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  RunPart([&] {
    const auto& sample = Samples()[(data[0] & 1) != 0 ? 2 : 5];
    const Scan scan = LoadScan(MemoryFile(sample.bytes), "x.dtl", {.qvaTagged = true});
    // The input must not reach the machine's own files: nothing is made in report directories, and
    // the directory that it names is not the first one.
    qvaFlag = true;
    reportDir = std::string("/");
    catList = {L"all"};
    static const UniqueFd text(open("/tmp", O_TMPFILE | O_RDWR | O_CLOEXEC, 0600));
    Require(ftruncate(text.get(), 0) == 0 &&
            pwrite(text.get(), data + 1, size - 1, 0) == static_cast<ssize_t>(size - 1));
    ProcessConfigFile(("/proc/self/fd/" + std::to_string(text.get())).c_str(), scan);
    ScanReports(scan);
    for (Report& report : reportList) {
      if (report.active != 0) RunReport(report, {scan, "x.dtl", scan.qvaRoot});
    }
  });
  return 0;
}
