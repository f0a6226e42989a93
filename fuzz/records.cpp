// A record stream, read by the scan and by every kind of report. The first byte chooses the scan
// kind, the revision and the form of the reports.
#include "fuzz/target.h"
#include "reports/report.h"
#include "reports/reportkinds.h"
#include "tests/support/dtlbuild.h"

using namespace tabulon;

namespace {

constexpr uint8_t kNfs = 0x1;
constexpr uint8_t kOldRevision = 0x2;
constexpr uint8_t kStreams = 0x4;
constexpr uint8_t kCsv = 0x8;

constexpr uint32_t kTypes[] = {kReportCustom,      kReportFiletypes, kReportDuplicates,
                               kReportLongPaths,   kReportSymlinks,  kReportNameConflict,
                               kReportSubdirCount, kReportTotals};

// The blocks of a scan, which end where its records begin.
std::string Blocks(uint8_t choice) {
  const bool nfs = (choice & kNfs) != 0;
  return BuildDtl({.kind = nfs ? ScanKind::kNfs : ScanKind::kCifs,
                   .revision = (choice & kOldRevision) != 0 ? 6U : 7U,
                   .rootPath = nfs ? "/srv" : "C:\\",
                   .endMarker = false});
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  const uint8_t choice = data[0];
  std::string bytes = Blocks(choice);
  bytes.append(AsText(data + 1, size - 1));
  RunPart([&] {
    const Scan scan = LoadScan(MemoryFile(bytes), "x.dtl", {});
    Settings settings;
    settings.adsFull = (choice & kStreams) != 0;
    settings.csvSep = L',';
    settings.fileIncr = 4096;
    std::list<ReportDefinition> definitions;
    for (const uint32_t type : kTypes) {
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
