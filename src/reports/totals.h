// The totals report: how many records each report matched and how many bytes they hold.
#pragma once

#include "reports/report.h"

namespace tabulon {

std::unique_ptr<ReportAccumulator> MakeTotals(const ReportDefinition& report, ReportRun& run);

// Writes the line of one tally in the report's format: in text with the name at the right end of
// `width` columns, in CSV as plain fields. The allocated bytes are printed when there is an
// allocation unit.
void WriteTally(ReportOutput& output, size_t width, const Tally& tally);

}  // namespace tabulon
