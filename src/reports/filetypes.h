// The grouping reports: files, bytes and allocated bytes by extension, by user ID or by group ID.
// The scan classifies each record; afterwards the tallies are sorted and written.
#pragma once

#include <cstdint>
#include <string>

#include "reports/report.h"

namespace tabulon {

// What has been counted under one key.
struct TypeEntry {
  uint32_t count = 0;
  uint64_t totalBytes = 0;
  uint64_t allocatedBytes = 0;
  uint64_t first = 0;  // file offset of the record that the entry was made for
  std::wstring name;   // extension as that record spells it, or the ID
};

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

// The order of the sort keys (order, type entry): by count or by size
// (allocated size when there is an allocation unit), larger first; then by the other of the two;
// then by name.
int SortKeyCompare(const void* a, uint32_t lengthA, const void* b, uint32_t lengthB);

}  // namespace tabulon
