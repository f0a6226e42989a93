// What is asked for: the kinds of reports there are, and one report as the configuration (or the
// command line's query) defines it.
#pragma once

#include <cstdint>
#include <list>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "base/asidefile.h"
#include "base/textstream.h"
#include "config/settings.h"
#include "detail/reporttype.h"
#include "query/classes.h"
#include "query/filterplan.h"

namespace tabulon {

// Output forms.
enum ReportFormat { kFormatUnset = 0, kFormatText = 1, kFormatCsv = 2, kFormatNone = 3 };

// Flags of a report, besides the forms of names and paths (config/settings.h).
inline constexpr uint32_t kFlagShowSids = 0x4;
inline constexpr uint32_t kFlagTotals = 0x8;
inline constexpr uint32_t kFlagShowLink = 0x40;

// Sort orders of grouping reports.
enum TypeSort { kSortUnset = 0, kSortByCount = 1, kSortBySize = 2 };

// Duplicate check fields.
inline constexpr uint32_t kDupName = 0x1;
inline constexpr uint32_t kDupExtension = 0x2;
inline constexpr uint32_t kDupMdate = 0x4;
inline constexpr uint32_t kDupCdate = 0x8;
inline constexpr uint32_t kDupSize = 0x10;
inline constexpr uint32_t kDupDefault = kDupExtension | kDupMdate | kDupSize;

struct ReportDefinition;
struct ReportRun;         // what the reports of a run share
class ReportAccumulator;  // what a report gathers and writes

// A kind of report. The configuration reads only its words; the code that passes the table in knows
// what makes a report of the kind.
struct ReportKind {
  std::wstring_view keyword;
  uint32_t code;                // ReportType
  uint32_t scans;               // kCifsOnly, kNfsOnly or 0: the scans that it is for
  std::wstring_view title;      // default title
  std::wstring_view debugLine;  // on the debug log when a report of the kind is written
  std::unique_ptr<ReportAccumulator> (*make)(const ReportDefinition& report, ReportRun& run);
  RecordSelector selects = {};  // of a listing: what it selects, its filter aside
  std::wstring (*makeTitle)(const Settings& settings) = nullptr;  // when it shows a parameter
};
using ReportKinds = std::span<const ReportKind>;

// The file of a report.
struct ReportFile {
  std::wstring reportPath;  // as it is announced; set when the file has been made
  AsideFile output;         // its path, in the locale's encoding, is empty when there is no file
  TextStream stream;        // closed, but while the report is written
};

struct ReportDefinition {
  int32_t active = 1;                // 1 active, -1 set inactive by "inactive", 0 off
  const ReportKind* kind = nullptr;  // null until "type" is given
  std::wstring typeName;             // the keyword as written
  int format = kFormatUnset;         // ReportFormat
  uint32_t flags = 0;
  std::string fields;  // CSV field codes in output order
  Query filter;
  FilterPlan plan;  // the filter laid out for the scan
  std::wstring title;
  std::optional<std::wstring> totalTag;  // its name in the totals; none = the title
  std::optional<std::wstring> qvaTag;
  std::optional<std::wstring> reportFile;  // relative to the report directory
  uint32_t dupFields = 0;                  // kDup... bits
  uint32_t extLength = 0;                  // longest extension counted, in characters after the '.'
  int typeSort = kSortUnset;               // TypeSort
  ReportFile file;

  // Its ReportType; 0 until "type" is given.
  uint32_t type() const { return kind != nullptr ? kind->code : 0; }
};

// What a run has to do.
struct Configuration {
  Settings settings;
  Classes classes;
  // The active reports in the order in which they are written: file order, with a summary and a SID
  // use report moved to the front.
  std::list<ReportDefinition> reportList;
};

// Completes a report once its definition is whole: defaults, checks against the kind of scan, its
// file and its plan. A type or field that the scan's kind does not have, and a report file that
// cannot be made, end the run.
//
// Any number of reports fit under a small descriptor limit: a report file is made, or
// found fit for writing, and closed again, to be opened when the report is written.
void InitializeReportEntry(ReportDefinition& report, const Settings& settings, const Scan& scan);

// Where report files go: what the command line names is opened by the bytes that were given, the
// name below it by the locale's encoding.
struct ReportPath {
  std::wstring shown;                // in messages
  std::optional<std::string> bytes;  // to open; none when the locale cannot encode the name
};
// `name` in the report directory, or by itself when there is none. errno is EILSEQ when there are
// no bytes.
ReportPath InReportDir(const Settings& settings, const std::wstring& name);

}  // namespace tabulon
