// The duplicate finder: what it makes of a record, and all of its work.
#include "bench/sample.h"
#include "reports/dupcandidates.h"
#include "reports/duplicates.h"

namespace tabulon {
namespace {

template <class Make>
void KeyOf(benchmark::State& state, Make make) {
  Sample& sample = Sample::Use(ScanKind::kNfs);
  DupKey key(kDupDefault);
  for (auto _ : state) {
    sample.ForEachRecord(
        [&](const ScanRecord& record) { benchmark::DoNotOptimize(make(key, record)); });
  }
  ShowTimePerItem(state, sample.size());
}
BENCHMARK_CAPTURE(KeyOf, fingerprint, [](DupKey& key, const ScanRecord& record) {
  return key.Fingerprint(record.fields(), record.name);
});
BENCHMARK_CAPTURE(KeyOf, digest, [](DupKey& key, const ScanRecord& record) {
  return key.Md5(record.fields(), record.name).high;
});

void FindDuplicates(benchmark::State& state) {
  Sample& sample = Sample::Use(ScanKind::kNfs);
  const Settings settings;
  ReportDefinition report;
  report.dupFields = kDupDefault;
  ReportRun run{sample.scan(), settings};
  for (auto _ : state) {
    const auto duplicates = MakeDuplicates(report, run);
    sample.ForEachBatch([&](Pass& pass) { duplicates->Add(pass); });
    duplicates->Finish();
    benchmark::DoNotOptimize(duplicates->counts().count);
  }
  ShowTimePerItem(state, sample.size());
}
BENCHMARK(FindDuplicates);

}  // namespace
}  // namespace tabulon
