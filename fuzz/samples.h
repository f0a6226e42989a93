// Sound scans, configurations and queries that use everything there is: what the hostile-input
// tests damage, and what the fuzz targets start from.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "tools/scanwriter/dtlwriter.h"

namespace tabulon {

// A number in a scan file: a length, a count, an offset or a mark.
struct Field {
  size_t at;
  size_t width;  // bytes: 2 or 4
};

struct Sample {
  std::string name;  // as "cifs7"
  ScanKind kind;
  std::string bytes;  // about 4 KiB
  std::vector<Field> fields;
  size_t blocks;  // bytes of header, root and version block
};

// The bytes of a scan with this number in the field, or as much of it as the field holds.
std::string WithField(std::string bytes, const Field& field, uint32_t value);

// One for each scan kind and revision 6, 7 and 8.
const std::vector<Sample>& Samples();

// A scan of so many files, beyond the first 700 under names that were there before, with what else
// a scan of the kind has: enough duplicates for the finder to use its temporary files under small
// limits.
std::string TwinScan(ScanKind kind, uint32_t files);

// A configuration with parameters, classes and every report type that the scan kind has, as text
// and as CSV in turn. Report files are named "r<number>" and "all".
std::string SampleConfiguration(ScanKind kind);
// A query with a test of every object that can be tested.
std::string SampleQuery(ScanKind kind);

}  // namespace tabulon
