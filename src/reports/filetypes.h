// The grouping reports: files, bytes and allocated bytes by extension, by user ID or by group ID.
// The scan classifies each record; afterwards the tallies are sorted and written.
#pragma once

#include <cstdint>
#include <string>

#include "config/report.h"
#include "detail/pass.h"

namespace tabulon {

// What has been counted under one key.
struct TypeEntry {
  uint32_t count = 0;
  uint64_t totalBytes = 0;
  uint64_t allocatedBytes = 0;
  std::wstring name;  // extension as the first file spelled it, or the ID
};

// Counts each record, file or directory, under its key when it passes the report's filter and has
// one.
using Classifier = void (*)(Report& report, Pass& pass);

// Gives a grouping report its tallies, before the scan, and returns what counts for its type.
Classifier NewClassifier(Report& report, const Scan& scan);

// Writes the tallies of a grouping report in the chosen order and frees them. REQUIRES: it has
// tallies.
void FiletypeReport(Report& report);

// The order of the sort keys (report reference, type entry reference): by count or by size
// (allocated size when there is an allocation unit), larger first; then by the other of the two;
// then by name.
int SortKeyCompare(const void* a, uint32_t lengthA, const void* b, uint32_t lengthB);

}  // namespace tabulon
