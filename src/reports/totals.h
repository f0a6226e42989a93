// The totals report: how many records each report matched and how many bytes they hold.
#pragma once

#include <cstdint>
#include <string_view>

#include "config/report.h"

namespace tabulon {

// A name with what was counted for it.
struct Tally {
  std::wstring_view name;
  uint64_t count = 0;
  uint64_t totalBytes = 0;
  uint64_t allocatedBytes = 0;
};

// Writes the line of one tally in the report's format: in text with the name at the right end of
// `width` columns, in CSV as plain fields. The allocated bytes are printed when there is an
// allocation unit.
void WriteTally(Report& report, size_t width, const Tally& tally);

// Writes the line of every active report of the run that asked for totals, this one included.
void TotalsReport(Report& report);

}  // namespace tabulon
