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

struct RunContext {
  std::string_view dtlName;
  const VersionBlock& version;
};

using Run = void (*)(Report& report, const RunContext& context);

void RunSummary(Report& report, const RunContext& context) {
  SummaryReport(report, context.dtlName, context.version);
}
template <void (*write)(Report&)>
void RunPlain(Report& report, const RunContext&) {
  write(report);
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
    {~0U, kReportSummary, L"Doing SummaryReport.\n", RunSummary, false},
    {~0U, kReportSidUse, L"Doing DisplaySidUse Report.\n", RunPlain<DisplaySidUse>, false},
    {~0U, kReportDuplicates, L"Doing DuplicateReport.\n", RunPlain<DuplicateReport>, false},
    {~0U, kReportTotals, L"Doing TotalsReport.\n", RunPlain<TotalsReport>, false},
    {kGroupingTypes, 0, L"Doing FiletypeReport.\n", RunPlain<FiletypeReport>, false},
    {0, 0, L"Doing DisplayReport.\n", RunPlain<DisplayReport>, true},
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

void RunReport(Report& report, std::string_view dtlName, const VersionBlock& version) {
  OpenReportFile(report);
  if (qvaFlag && report.qvaTag) ReportEntry(report, L"[[QVA]]:%ls\n", *report.qvaTag);
  const RunnerRow& runner = RunnerOf(report.type);
  if (!runner.skipsFormatNone || report.format != kFormatNone) {
    DebugLogEntry(4, L"%ls", runner.debugLine);
    runner.run(report, {dtlName, version});
  }
  CloseReport(report);
}

}  // namespace tabulon
