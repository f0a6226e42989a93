// One report of the run: what the configuration (or the command line's query) asked for, and what
// the scan has collected for it.
#pragma once

#include <cstdint>
#include <list>
#include <memory>
#include <optional>
#include <string>

#include "base/spoolfile.h"
#include "base/textstream.h"
#include "detail/reporttype.h"
#include "query/filterplan.h"

namespace tabulon {

// Output forms.
enum ReportFormat { kFormatUnset = 0, kFormatText = 1, kFormatCsv = 2, kFormatNone = 3 };

// Flags of a report.
inline constexpr uint32_t kFlagFileInDir = 0x1;
inline constexpr uint32_t kFlagFullPath = 0x2;
inline constexpr uint32_t kFlagShowSids = 0x4;
inline constexpr uint32_t kFlagTotals = 0x8;
inline constexpr uint32_t kFlagRelative = 0x10;
inline constexpr uint32_t kFlagAbsolute = 0x20;
inline constexpr uint32_t kFlagShowLink = 0x40;
// kCifsOnly and kNfsOnly (query/filter.h): the type is valid for one scan kind only.

// Sort orders of grouping reports.
enum TypeSort { kSortUnset = 0, kSortByCount = 1, kSortBySize = 2 };

// Duplicate check fields.
inline constexpr uint32_t kDupName = 0x1;
inline constexpr uint32_t kDupExtension = 0x2;
inline constexpr uint32_t kDupMdate = 0x4;
inline constexpr uint32_t kDupCdate = 0x8;
inline constexpr uint32_t kDupSize = 0x10;
inline constexpr uint32_t kDupDefault = kDupExtension | kDupMdate | kDupSize;

// What a report's own module keeps for it from the scan to the writing (type tallies, duplicates).
struct ReportWork {
  virtual ~ReportWork() = default;
};

struct Report {
  int32_t active = 1;         // 1 active, -1 set inactive by "inactive", 0 off
  uint32_t type = 0;          // ReportType; 0 until "type" is given
  std::wstring typeName;      // the keyword as written
  int format = kFormatUnset;  // ReportFormat
  uint32_t flags = 0;
  std::string fields;        // CSV field codes in output order
  Filter* filter = nullptr;  // null = every record passes
  FilterPlan plan;           // the filter laid out for the scan
  std::wstring title;
  std::optional<std::wstring> totalTag;  // its name in the totals; none = the title
  std::optional<std::wstring> qvaTag;
  bool hasReportFile = false;    // a "reportfile" line was given
  std::wstring reportFile;       // relative to the report directory
  std::wstring reportPath;       // as it is announced; set when the file has been made
  std::string reportPathNarrow;  // as it is opened, in the locale's encoding
  TextStream stream;             // the open report file; closed = the report has none, or has one
                                 // that is opened when the report is written
  SpoolFile positions;           // position pairs of matching records
  uint32_t dupFields = 0;        // kDup... bits
  uint32_t extLength = 0;        // longest extension counted, in characters behind the '.'
  int typeSort = kSortUnset;     // TypeSort
  std::unique_ptr<ReportWork> work;

  // Collected by the scan.
  int32_t count = 0;            // matching records
  uint64_t totalBytes = 0;      // sum of their sizes
  uint64_t allocatedBytes = 0;  // sum of their allocated sizes
};

// The reports of the run in the order in which they are written: file order, with a summary and a
// SID use report moved to the front.
extern std::list<Report> reportList;

}  // namespace tabulon
