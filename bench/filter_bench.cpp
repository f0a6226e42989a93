// Each kind of test that a query can make, at work on batches.
#include "base/template.h"
#include "bench/sample.h"
#include "query/choosepassing.h"
#include "query/parsequery.h"

namespace tabulon {
namespace {

void Filter(benchmark::State& state, ScanKind kind, const wchar_t* query) {
  Sample& sample = Sample::Use(kind);
  const Classes classes{{{L"office", {{false, L"docx"}, {false, L"xlsx"}, {false, L"pptx"}}},
                         {L"code", {{false, L"c"}, {true, ConvertTemplate(L"h*")}}}}};
  const FilterPlan plan(ParseQuery(query, sample.scan(), classes), sample.scan());
  for (auto _ : state) {
    sample.ForEachBatch([&](Pass& pass) {
      ChoosePassing(plan, pass);
      benchmark::DoNotOptimize(pass.chosen.count);
    });
  }
  ShowTimePerItem(state, sample.size());
}

constexpr ScanKind kNfs = ScanKind::kNfs;
constexpr ScanKind kCifs = ScanKind::kCifs;
BENCHMARK_CAPTURE(Filter, number, kNfs, L"uid eq 1003");
BENCHMARK_CAPTURE(Filter, numbers, kNfs, L"uid eq 1003 [or] uid eq 1004 [or] gid eq 105");
BENCHMARK_CAPTURE(Filter, size, kNfs, L"size gt 1M");
BENCHMARK_CAPTURE(Filter, date, kNfs, L"mdate before 20220101");
BENCHMARK_CAPTURE(Filter, size_and_date, kNfs,
                  L"size ge 64K [and] size lt 1M [and] adate since 20240101");
BENCHMARK_CAPTURE(Filter, name_is, kNfs, L"name is index.html");
BENCHMARK_CAPTURE(Filter, name_ending, kNfs, L"name matches *.tmp");
BENCHMARK_CAPTURE(Filter, name_start, kNfs, L"name matches report*");
BENCHMARK_CAPTURE(Filter, name_middle, kNfs, L"name matches *backup*");
BENCHMARK_CAPTURE(Filter, name_endings, kNfs,
                  L"name matches *.jpg [or] name matches *.png [or] name matches *.gif");
BENCHMARK_CAPTURE(Filter, path, kNfs, L"path matches /home~");
BENCHMARK_CAPTURE(Filter, path_middle, kNfs, L"path matches ~/2023*/~");
BENCHMARK_CAPTURE(Filter, target, kNfs, L"target matches ../*.pdf");
BENCHMARK_CAPTURE(Filter, klass, kNfs, L"class is office");
BENCHMARK_CAPTURE(Filter, class_of_templates, kNfs, L"class is code");
BENCHMARK_CAPTURE(Filter, type, kNfs, L"type is file");
BENCHMARK_CAPTURE(Filter, attributes, kCifs, L"attrs includes HS");
BENCHMARK_CAPTURE(Filter, cifs_name, kCifs, L"name matches *.tmp");

}  // namespace
}  // namespace tabulon
