// The audit summary: what the header and the root block of the detail file say of the scanned tree,
// and the size and date distributions that the scan has counted.
#pragma once

#include <string_view>

#include "detail/bands.h"
#include "reports/report.h"

namespace tabulon {

std::unique_ptr<ReportAccumulator> MakeSummary(const ReportDefinition& report, ReportRun& run);

// The CSV form: the report's summary fields in their order, without a header row.
void SummaryCsvReport(ReportOutput& output, const ReportRun& run);

// One date distribution under the heading `label`, latest date first.
void DateBandReport(ReportOutput& output, std::wstring_view label, const BandTable& bands);

}  // namespace tabulon
