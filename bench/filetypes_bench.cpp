// Counting records by extension and by owner.
#include "bench/sample.h"
#include "reports/report.h"
#include "reports/reportkinds.h"

namespace tabulon {
namespace {

void Classify(benchmark::State& state, ScanKind kind, uint32_t type) {
  Sample& sample = Sample::Use(kind);
  const Settings settings;
  ReportDefinition report;
  report.kind = &KindOf(type);
  report.extLength = 4;
  ReportRun run{sample.scan(), settings};
  const auto totals = report.kind->make(report, run);
  for (auto _ : state) {
    sample.ForEachBatch([&](Pass& pass) { totals->Add(pass); });
  }
  ShowTimePerItem(state, sample.size());
}
BENCHMARK_CAPTURE(Classify, extension, ScanKind::kNfs, kReportFiletypes);
BENCHMARK_CAPTURE(Classify, extension_any_case, ScanKind::kCifs, kReportFiletypes);
BENCHMARK_CAPTURE(Classify, uid, ScanKind::kNfs, kReportUidTotals);
BENCHMARK_CAPTURE(Classify, gid, ScanKind::kNfs, kReportGidTotals);

}  // namespace
}  // namespace tabulon
