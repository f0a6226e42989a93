// The audit summary: what the header and the root block of the detail file say of the scanned tree,
// and the size and date distributions that the scan has counted.
#pragma once

#include <string_view>

#include "config/report.h"
#include "detail/bands.h"
#include "detail/scan.h"

namespace tabulon {

// What a summary tells of.
struct SummarySource {
  const Scan& scan;
  std::string_view dtlName;   // the detail file's name in the locale's encoding
  std::wstring_view qvaRoot;  // the root as the QVA output shows it
};

// Writes the summary, as text or as one CSV line. A report without a file (the run has no
// configuration) goes to the list log.
void SummaryReport(Report& report, const SummarySource& source);

// The CSV form: the report's summary fields in their order, without a header row.
void SummaryCsvReport(Report& report, const SummarySource& source);

// One date distribution under the heading `label`, latest date first.
void DateBandReport(Report& report, std::wstring_view label, const BandTable& bands);

}  // namespace tabulon
