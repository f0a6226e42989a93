// Single names: whether one is ASCII, and its wide form. (The names of whole batches: walk_bench.)
#include "bench/sample.h"
#include "detail/recordtext.h"

namespace tabulon {
namespace {

template <class Look>
void ForEachName(benchmark::State& state, Look look) {
  const Sample& sample = Sample::Use(ScanKind::kNfs);
  RecordText text;
  for (auto _ : state) {
    for (const std::string_view name : sample.names()) {
      text.Assign(name);
      benchmark::DoNotOptimize(look(text));
    }
  }
  ShowTimePerItem(state, sample.size());
}
BENCHMARK_CAPTURE(ForEachName, is_ascii, [](const RecordText& text) { return text.IsAscii(); });
BENCHMARK_CAPTURE(ForEachName, last_dot, [](const RecordText& text) { return text.LastDot(); });
BENCHMARK_CAPTURE(ForEachName, widen, [](const RecordText& text) { return text.Wide().size(); });

}  // namespace
}  // namespace tabulon
