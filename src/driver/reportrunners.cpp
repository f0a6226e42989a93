#include "driver/reportrunners.h"

#include "base/loganderr.h"
#include "config/settings.h"
#include "reports/dupreport.h"
#include "reports/filetypes.h"
#include "reports/listing.h"
#include "reports/reportwriter.h"
#include "reports/siduse.h"
#include "reports/summary.h"
#include "reports/totals.h"

namespace tabulon {
namespace {

using Run = void (*)(Report& report, const SummarySource& source);

template <void (*write)(Report&)>
void RunPlain(Report& report, const SummarySource&) {
  write(report);
}
template <void (*write)(Report&, const Scan&)>
void RunOnScan(Report& report, const SummarySource& source) {
  write(report, source.scan);
}

// The first row that fits a report's type runs it.
struct RunnerRow {
  uint32_t mask;
  uint32_t type;  // the type under the mask; 0: any bit of the mask, or any type when it is 0
  const wchar_t* debugLine;
  Run run;
  bool skipsFormatNone;  // a report whose format is "none" writes nothing
};
constexpr RunnerRow kRunners[] = {
    {~0U, kReportSummary, L"Doing SummaryReport.\n", SummaryReport, false},
    {~0U, kReportSidUse, L"Doing DisplaySidUse Report.\n", RunOnScan<DisplaySidUse>, false},
    {~0U, kReportDuplicates, L"Doing DuplicateReport.\n", RunOnScan<DuplicateReport>, false},
    {~0U, kReportTotals, L"Doing TotalsReport.\n", RunPlain<TotalsReport>, false},
    {kGroupingTypes, 0, L"Doing FiletypeReport.\n", RunPlain<FiletypeReport>, false},
    {0, 0, L"Doing DisplayReport.\n", RunOnScan<DisplayReport>, true},
};

const RunnerRow& RunnerOf(uint32_t type) {
  const RunnerRow* row = kRunners;
  while (row->mask != 0 &&
         (row->type == 0 ? (type & row->mask) == 0 : (type & row->mask) != row->type)) {
    ++row;
  }
  return *row;
}

}  // namespace

void RunReport(Report& report, const SummarySource& source) {
  OpenReportFile(report);
  if (qvaFlag && report.qvaTag) ReportEntry(report, L"[[QVA]]:%ls\n", *report.qvaTag);
  const RunnerRow& runner = RunnerOf(report.type);
  if (!runner.skipsFormatNone || report.format != kFormatNone) {
    DebugLogEntry(4, L"%ls", runner.debugLine);
    runner.run(report, source);
  }
  CloseReport(report);
}

}  // namespace tabulon
