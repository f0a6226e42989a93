// The audit summary: what the header and the root block of the detail file say of the scanned tree,
// and the size and date distributions that the scan has counted.
#pragma once

#include <string_view>

#include "config/report.h"
#include "detail/bands.h"
#include "detail/dtlformat.h"

namespace tabulon {

// Writes the summary, as text or as one CSV line. A report without a file (the run has no
// configuration) goes to the list log. `dtlName` is the detail file's name in the locale's
// encoding.
void SummaryReport(Report& report, std::string_view dtlName, const VersionBlock& version);

// The CSV form: the report's summary fields in their order, without a header row.
void SummaryCsvReport(Report& report, std::string_view dtlName);

// One date distribution under the heading `label`, latest date first.
void DateBandReport(Report& report, std::wstring_view label, const BandTable& bands);

}  // namespace tabulon
