#include "reports/totals.h"

#include <algorithm>

#include "config/settings.h"
#include "detail/scandetail.h"
#include "reports/reportwriter.h"
#include "reports/valueformat.h"

namespace tabulon {
namespace {

bool Qualifies(const Report& report) {
  return report.active == 1 && (report.flags & kFlagTotals) != 0;
}

std::wstring_view NameInTotals(const Report& report) {
  return report.totalTag ? *report.totalTag : report.title;
}

void WriteTallyAsText(Report& report, size_t width, const Tally& tally) {
  ValueText count;
  ValueText size;
  ReportEntry(report, L"%*ls %11ls   %-28ls", static_cast<int>(width), tally.name,
              ValueStr(tally.count, count, L','), EditValue(tally.totalBytes, size));
  if (fileIncr > 0) ReportEntry(report, L" %ls", EditValue(tally.allocatedBytes, size));
}

void WriteTallyAsCsv(Report& report, const Tally& tally) {
  ReportEntry(report, L"%ls%c%d%c%lld", tally.name, csvSep, static_cast<uint32_t>(tally.count),
              csvSep, tally.totalBytes);
  if (fileIncr > 0) ReportEntry(report, L"%c%lld", csvSep, tally.allocatedBytes);
}

}  // namespace

void WriteTally(Report& report, size_t width, const Tally& tally) {
  if (report.format == kFormatCsv) {
    WriteTallyAsCsv(report, tally);
  } else {
    WriteTallyAsText(report, width, tally);
  }
  ReportEntry(report, L"\n");
}

void TotalsReport(Report& report) {
  DisplayReportFile(report);
  if (report.format != kFormatCsv) {
    ReportEntry(report, L"\n---- %ls ----\n\n", report.title);
  }
  size_t width = 0;
  for (const Report& listed : reportList) {
    if (Qualifies(listed)) width = std::max(width, NameInTotals(listed).size());
  }
  for (const Report& listed : reportList) {
    if (!Qualifies(listed)) continue;
    WriteTally(report, width,
               {.name = NameInTotals(listed),
                .count = static_cast<uint64_t>(listed.count),
                .totalBytes = listed.totalBytes,
                .allocatedBytes = listed.allocatedBytes});
  }
}

}  // namespace tabulon
