// The grouping reports: files, bytes and allocated bytes by extension, by user ID or by group ID.
// The scan classifies each record; afterwards the tallies are sorted and written.
#pragma once

#include <cstdint>
#include <string_view>

#include "reports/report.h"
#include "reports/typetallies.h"

namespace tabulon {

// Reports that count each record, file or directory, under its key when it passes the filter and
// has one, and write the tallies in the chosen order. Totals by owner count nothing.
std::unique_ptr<ReportAccumulator> MakeFileTypes(const ReportDefinition& report, ReportRun& run);
std::unique_ptr<ReportAccumulator> MakeOwnerTotals(const ReportDefinition& report, ReportRun& run);
std::unique_ptr<ReportAccumulator> MakeUidTotals(const ReportDefinition& report, ReportRun& run);
std::unique_ptr<ReportAccumulator> MakeGidTotals(const ReportDefinition& report, ReportRun& run);

// By what the tallies of a report are sorted.
struct SortOrder {
  bool countFirst;   // by count, else by size
  bool byAllocated;  // the size is the allocated one
};

// The order of the tallies: by count or by size (allocated size when there is an allocation unit),
// larger first; then by the other of the two; then by the names' units. Negative when `a` comes
// first.
int SortKeyCompare(const SortOrder& order, const TypeCounts& a, std::string_view nameA,
                   const TypeCounts& b, std::string_view nameB);

}  // namespace tabulon
