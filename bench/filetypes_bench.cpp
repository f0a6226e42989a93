// Counting records by extension and by owner.
#include "bench/sample.h"
#include "reports/filetypes.h"

namespace tabulon {
namespace {

void Classify(benchmark::State& state, ScanKind kind, uint32_t type) {
  Sample& sample = Sample::Use(kind);
  Report report;
  report.type = type;
  report.extLength = 4;
  const Classifier classify = NewClassifier(report, sample.scan());
  for (auto _ : state) {
    sample.ForEachBatch([&](Pass& pass) { classify(report, pass); });
  }
  ShowTimePerItem(state, sample.size());
}
BENCHMARK_CAPTURE(Classify, extension, ScanKind::kNfs, kReportFiletypes);
BENCHMARK_CAPTURE(Classify, extension_any_case, ScanKind::kCifs, kReportFiletypes);
BENCHMARK_CAPTURE(Classify, uid, ScanKind::kNfs, kReportUidTotals);
BENCHMARK_CAPTURE(Classify, gid, ScanKind::kNfs, kReportGidTotals);

}  // namespace
}  // namespace tabulon
