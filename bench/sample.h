// What the micro-benchmarks work on: a made-up scan that fits the processor's caches, so that they
// measure the program and not the memory.
#pragma once

#include <benchmark/benchmark.h>

#include <string_view>
#include <vector>

#include "base/fileio.h"
#include "detail/pass.h"
#include "tools/scanwriter/dtlwriter.h"

namespace tabulon {

class Sample {
 public:
  // The sample of this kind.
  static Sample& Use(ScanKind kind);

  explicit Sample(ScanKind kind);
  // Its names as they are stored.
  const std::vector<std::string_view>& names() const { return names_; }
  const Scan& scan() const { return scan_; }
  size_t size() const { return names_.size(); }

  // Hands its records on in batches. That takes the time of Batches/take.
  template <class Take>
  void ForEachBatch(Take take) {
    uint64_t position = scan_.logRoot.firstRecord;
    while (pass_.batch.Fill(reader_, position)) take(pass_);
  }
  template <class Take>
  void ForEachRecord(Take take) {
    ForEachBatch([&](Pass& pass) {
      for (size_t i = 0; i < pass.batch.size(); ++i) take(pass.batch.At(i));
    });
  }

 private:
  Scan scan_;
  RecordReader reader_;
  Pass pass_;
  std::vector<std::string_view> names_;
};

// Shows the time that one of `count` things takes which an iteration deals with.
inline void ShowTimePerItem(benchmark::State& state, size_t count) {
  using benchmark::Counter;
  state.counters["each"] =
      Counter(static_cast<double>(count), Counter::kIsIterationInvariantRate | Counter::kInvert);
}

}  // namespace tabulon
