// One template at work on every name, behind the test of the last bytes that batches make first.
#include "base/template.h"
#include "bench/sample.h"
#include "detail/recordtext.h"

namespace tabulon {
namespace {

void Match(benchmark::State& state, const wchar_t* typed) {
  const Sample& sample = Sample::Use(ScanKind::kNfs);
  const CompiledTemplate pattern(ConvertTemplate(typed), false);
  size_t matches = 0;
  for (auto _ : state) {
    matches = 0;
    for (const std::string_view stored : sample.names()) {
      const std::string_view name = stored.substr(0, stored.size() - 1);
      matches += pattern.Match(name) ? 1 : 0;
    }
    benchmark::DoNotOptimize(matches);
  }
  ShowTimePerItem(state, sample.size());
  state.counters["matches"] = static_cast<double>(matches);
}
BENCHMARK_CAPTURE(Match, ending, L"*.pdf");
BENCHMARK_CAPTURE(Match, start, L"report*");
BENCHMARK_CAPTURE(Match, middle, L"*backup*");
BENCHMARK_CAPTURE(Match, start_and_ending, L"img*.jpg");
BENCHMARK_CAPTURE(Match, two_words, L"*draft*final*");
BENCHMARK_CAPTURE(Match, single_characters, L"*_??.???");
BENCHMARK_CAPTURE(Match, path, L"~/archive*/~");
BENCHMARK_CAPTURE(Match, hopeless, L"*a*a*a*a*a*a*a*b");

void MatchWide(benchmark::State& state, const wchar_t* typed) {
  const Sample& sample = Sample::Use(ScanKind::kNfs);
  const CompiledTemplate pattern(ConvertTemplate(typed), false);
  std::vector<std::wstring> names;
  for (const std::string_view stored : sample.names()) {
    RecordText text;
    text.Assign(stored);
    names.emplace_back(text.Wide());
  }
  for (auto _ : state) {
    for (const std::wstring& name : names) {
      benchmark::DoNotOptimize(pattern.Match(std::wstring_view(name)));
    }
  }
  ShowTimePerItem(state, names.size());
}
BENCHMARK_CAPTURE(MatchWide, ending, L"*.pdf");
BENCHMARK_CAPTURE(MatchWide, middle, L"*backup*");

}  // namespace
}  // namespace tabulon
