// A record stream, read by the scan and by every kind of report. The first byte chooses the scan
// kind, the revision, the form of the reports and which half of them there is.
#include <unistd.h>

#include <array>
#include <list>
#include <optional>
#include <string>
#include <vector>

#include "fuzz/target.h"
#include "reports/report.h"
#include "reports/reportkinds.h"
#include "tests/support/dtlbuild.h"
#include "tests/support/openscan.h"

using namespace tabulon;

namespace {

constexpr uint8_t kNfs = 0x1;
constexpr uint8_t kOldRevision = 0x2;
constexpr uint8_t kStreams = 0x4;
constexpr uint8_t kCsv = 0x8;
constexpr uint8_t kSecondHalf = 0x10;

const std::vector<uint32_t> kTypes[] = {
    {kReportCustom, kReportDuplicates, kReportLongPaths, kReportTotals},
    {kReportFiletypes, kReportSymlinks, kReportNameConflict, kReportSubdirCount, kReportTotals}};

// A scan whose records are replaced while it is open: everything before them stays the same.
class Scans {
 public:
  // The scan of a choice, with these records.
  const Scan& With(uint8_t choice, std::string_view records) {
    Place& place = places_[choice & (kNfs | kOldRevision)];
    if (!place.scan) {
      const std::string blocks = Blocks(choice);
      place = {blocks.size(), OpenInMemory(blocks)};
    }
    const int file = place.scan->dtlFile.get();
    Require(ftruncate(file, static_cast<off_t>(place.blocks)) == 0 &&
            WriteFullyAt(file, records.data(), records.size(), static_cast<off_t>(place.blocks)));
    return *place.scan;
  }

 private:
  struct Place {
    size_t blocks = 0;  // their bytes: the records come right after
    std::optional<Scan> scan;
  };
  static std::string Blocks(uint8_t choice) {
    const bool nfs = (choice & kNfs) != 0;
    return BuildDtl({.kind = nfs ? ScanKind::kNfs : ScanKind::kCifs,
                     .revision = (choice & kOldRevision) != 0 ? 6U : 7U,
                     .rootPath = nfs ? "/srv" : "C:\\",
                     .endMarker = false});
  }

  std::array<Place, 4> places_;
};

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  const uint8_t choice = data[0];
  RunPart([&] {
    static Scans scans;
    const Scan& scan = scans.With(choice, AsText(data + 1, size - 1));
    Settings settings;
    settings.adsFull = (choice & kStreams) != 0;
    settings.csvSep = L',';
    settings.fileIncr = 4096;
    std::list<ReportDefinition> definitions;
    for (const uint32_t type : kTypes[(choice & kSecondHalf) != 0 ? 1 : 0]) {
      ReportDefinition& report = definitions.emplace_back();
      report.kind = &KindOf(type);
      report.title = L"title";
      report.format = (choice & kCsv) != 0 ? kFormatCsv : kFormatText;
      report.flags = kFlagTotals | kFlagShowLink;
      InitializeReportEntry(report, settings, scan);
    }
    ReportRun run{scan, settings, "x.dtl", scan.qvaRoot};
    run.dupLimits = {.runFiles = 20, .gathered = 16, .sorted = 16, .written = 5};
    ReportSet reports(definitions, run);
    ScanDetail(scan, [&](Pass& pass) { reports.Add(pass); });
    reports.Finish();
    reports.Write(nullptr);
  });
  return 0;
}
