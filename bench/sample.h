// What the micro-benchmarks work on: a made-up scan that fits the processor's caches, so that they
// measure the program and not the memory.
#pragma once

#include <benchmark/benchmark.h>

#include <string_view>
#include <vector>

#include "base/uniquefd.h"
#include "detail/detailfile.h"
#include "detail/recordbatch.h"
#include "tools/scanwriter/dtlwriter.h"

namespace tabulon {

class Sample {
 public:
  // The sample of this kind, which becomes the open detail file.
  static Sample& Use(ScanKind kind);

  explicit Sample(ScanKind kind);
  // Its names as they are stored.
  const std::vector<std::string_view>& names() const { return names_; }
  size_t size() const { return names_.size(); }

  // Hands its records on in batches. That takes the time of Batches/take.
  template <class Take>
  void ForEachBatch(Take take) {
    uint64_t position = logRoot.firstRecord;
    while (batch_.Fill(reader_, position)) take(batch_);
  }
  template <class Take>
  void ForEachRecord(Take take) {
    ForEachBatch([&](RecordBatch& batch) {
      for (size_t i = 0; i < batch.size(); ++i) take(batch.At(i));
    });
  }

 private:
  void Open() const;

  UniqueFd file_;
  RecordReader reader_;
  RecordBatch batch_;
  std::vector<std::string_view> names_;
};

// Shows the time that one of `count` things takes which an iteration deals with.
inline void ShowTimePerItem(benchmark::State& state, size_t count) {
  using benchmark::Counter;
  state.counters["each"] =
      Counter(static_cast<double>(count), Counter::kIsIterationInvariantRate | Counter::kInvert);
}

}  // namespace tabulon
