#include "reports/totals.h"

#include <algorithm>

#include "reports/valueformat.h"

namespace tabulon {
namespace {

void WriteTallyAsText(ReportOutput& output, size_t width, const Tally& tally) {
  ValueText count;
  ValueText size;
  ReportEntry(output, L"%*ls %11ls   %-28ls", static_cast<int>(width), tally.name,
              ValueStr(tally.count, count, L','), EditValue(tally.totalBytes, size));
  if (output.settings().fileIncr > 0)
    ReportEntry(output, L" %ls", EditValue(tally.allocatedBytes, size));
}

void WriteTallyAsCsv(ReportOutput& output, const Tally& tally) {
  const wchar_t csvSep = output.settings().csvSep;
  ReportEntry(output, L"%ls%c%d%c%lld", tally.name, csvSep, static_cast<uint32_t>(tally.count),
              csvSep, tally.totalBytes);
  if (output.settings().fileIncr > 0) ReportEntry(output, L"%c%lld", csvSep, tally.allocatedBytes);
}

class Totals : public ReportAccumulator {
 public:
  void Write(ReportOutput& output) override;
};

// A line for every report that asked for it, this one included.
void Totals::Write(ReportOutput& output) {
  DisplayReportFile(output);
  if (output.report().format != kFormatCsv) {
    ReportEntry(output, L"\n---- %ls ----\n\n", output.report().title);
  }
  size_t width = 0;
  for (const Tally& tally : output.tallies()) width = std::max(width, tally.name.size());
  for (const Tally& tally : output.tallies()) WriteTally(output, width, tally);
}

}  // namespace

std::unique_ptr<ReportAccumulator> MakeTotals(const ReportDefinition&, ReportRun&) {
  return std::make_unique<Totals>();
}

void WriteTally(ReportOutput& output, size_t width, const Tally& tally) {
  if (output.report().format == kFormatCsv) {
    WriteTallyAsCsv(output, tally);
  } else {
    WriteTallyAsText(output, width, tally);
  }
  ReportEntry(output, L"\n");
}

}  // namespace tabulon
