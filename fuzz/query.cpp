// A query, whose plan, walked and made on batches, must agree with the plain walk on every record
// of a sound scan. The first bit of the first byte chooses the scan kind. With its second bit set,
// the rest is a template and a text, on a line each, whose match must agree with plain recursion.
#include <algorithm>
#include <cwchar>

#include "base/utf.h"
#include "detail/scandetail.h"
#include "fuzz/target.h"
#include "fuzz/templatereference.h"
#include "query/choosepassing.h"
#include "query/parsequery.h"
#include "query/rest.h"

using namespace tabulon;

namespace {

void Compare(const Query& query, const FilterPlan& plan, const Scan& scan, Pass& pass) {
  RecordBatch& batch = pass.batch;
  ChoosePassing(plan, pass);
  size_t next = 0;  // record
  const auto compare = [&](size_t end, bool isChosen) {
    for (; next < end; ++next) {
      const bool expected = CheckFilterList(query.head, batch.At(next), scan);
      Require(isChosen == expected);
      Require(plan.Passes(batch.At(next)) == expected);
    }
  };
  ForEachChosen(pass, [&](size_t i) {
    compare(i, false);
    compare(i + 1, true);
  });
  compare(batch.size(), false);
}

void TryQuery(bool cifs, std::string_view text) {
  RunPart([&] {
    const Scan& scan = SampleScan(cifs);
    std::wstring wide;
    AppendUtfToWide(wide, text);
    const Classes noClasses;
    const Query query = ParseQuery(wide, scan, noClasses);
    const FilterPlan plan(query, scan);
    ScanDetail(scan, [&](Pass& pass) { Compare(query, plan, scan, pass); });
  });
}

void TryTemplate(std::string_view text, bool backslash) {
  constexpr size_t kLongest = 28;  // the plain recursion is slow
  const size_t line = std::min(text.find('\n'), text.size());
  std::wstring typed, name;
  AppendUtfToWide(typed, text.substr(0, line));
  AppendUtfToWide(name, text.substr(std::min(line + 1, text.size())));
  // Texts end at their first zero unit everywhere in the program.
  for (std::wstring* wide : {&typed, &name}) wide->resize(std::wcslen(wide->c_str()));
  if (typed.size() > kLongest || name.size() > kLongest) return;
  const std::wstring coded = ConvertTemplate(typed);
  const bool expected = reference::Match(name, coded, backslash ? L'\\' : L'/');
  Require(CompiledTemplate(coded, backslash).Match(std::wstring_view(name)) == expected);
  const bool ascii =
      std::all_of(name.begin(), name.end(), [](wchar_t c) { return c > 0 && c < 128; });
  const std::string narrow(name.begin(), name.end());
  if (ascii)
    Require(CompiledTemplate(coded, backslash).Match(std::string_view(narrow)) == expected);
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  const bool cifs = (data[0] & 1) != 0;
  const std::string_view text = AsText(data + 1, size - 1);
  if ((data[0] & 2) != 0) {
    TryTemplate(text, cifs);
  } else {
    TryQuery(cifs, text);
  }
  return 0;
}
