// The way through the record stream, and what the scan itself does on it.
#include "bench/sample.h"
#include "detail/bands.h"
#include "detail/scandetail.h"

namespace tabulon {
namespace {

// One record after the other.
void Walk(benchmark::State& state, ScanKind kind) {
  const Sample& sample = Sample::Use(kind);
  RecordReader reader(sample.scan());
  for (auto _ : state) {
    RecordView view;
    for (uint64_t at = sample.scan().logRoot.firstRecord; reader.Read(at, view); at = view.next) {
      benchmark::DoNotOptimize(view.name.data());
    }
  }
  ShowTimePerItem(state, sample.size());
}
BENCHMARK_CAPTURE(Walk, nfs, ScanKind::kNfs);
BENCHMARK_CAPTURE(Walk, cifs, ScanKind::kCifs);

// In batches, as the reports get them.
void Batches(benchmark::State& state, void (*take)(Pass& pass)) {
  Sample& sample = Sample::Use(ScanKind::kNfs);
  for (auto _ : state) sample.ForEachBatch(take);
  ShowTimePerItem(state, sample.size());
}
BENCHMARK_CAPTURE(Batches, take,
                  [](Pass& pass) { benchmark::DoNotOptimize(pass.batch.fields(0).bytes()); });
BENCHMARK_CAPTURE(Batches, look_at_names, [](Pass& pass) {
  pass.batch.WantNames();
  benchmark::DoNotOptimize(pass.batch.names().tail.data());
});

// The whole scan, from a file that has to be mapped first.
void WholeScan(benchmark::State& state) {
  const Sample& sample = Sample::Use(ScanKind::kNfs);
  for (auto _ : state) {
    ScanDetail(sample.scan(),
               [](Pass& pass) { benchmark::DoNotOptimize(pass.batch.fields(0).bytes()); });
  }
  ShowTimePerItem(state, sample.size());
}
BENCHMARK(WholeScan);

// Files counted in four distributions.
void CountInBands(benchmark::State& state) {
  Sample& sample = Sample::Use(ScanKind::kNfs);
  DistributionLimits limits;
  limits.sizeBands = {1 << 10, 1 << 14, 1 << 18, 1 << 22, 1 << 26, INT64_MAX};
  limits.cdateBands = {1609459200, 1640995200, 1672531200, 1704067200};
  limits.mdateBands = limits.adateBands = limits.cdateBands;
  FileCounts counts(limits, 0);
  for (auto _ : state) sample.ForEachBatch([&](Pass& pass) { counts.Add(pass.batch); });
  ShowTimePerItem(state, sample.size());
}
BENCHMARK(CountInBands);

}  // namespace
}  // namespace tabulon
