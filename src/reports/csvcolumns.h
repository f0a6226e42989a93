// The columns of CSV listings: header and value of each field.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

#include "detail/recordreader.h"
#include "detail/recordtext.h"
#include "reports/filetimes.h"
#include "reports/linewriter.h"

namespace tabulon {

// What one line of a listing shows.
struct ListingLine {
  RecordFields fields;
  const RecordText* name = nullptr;
  std::wstring_view streamName;                  // after the name; empty on a file's own line
  const RecordText* target = nullptr;            // empty text when the record has no link target
  uint64_t size = 0;                             // the file's size; 0 on a stream's line
  uint64_t streamSize = 0;                       // the stream's size; 0 on a file's own line
  const EncodedText* directory = nullptr;        // as the report shows it
  const EncodedText* directoryPrefix = nullptr;  // the same with a separator after it
};

// What a column shows.
enum class CsvValue : uint8_t;

// The columns of a report, looked up once for all of its lines.
class CsvColumns {
 public:
  CsvColumns(const ReportDefinition& report, const Settings& settings);

  const ReportDefinition& report() const { return report_; }
  wchar_t separator() const { return separator_; }
  std::span<const CsvValue> values() const { return values_; }

 private:
  const ReportDefinition& report_;
  wchar_t separator_;
  std::vector<CsvValue> values_;
};

// Writes the header row, the row of one line.
void FormatCsvColHdrs(const CsvColumns& columns, LineWriter& writer);
void FormatCsvLine(const CsvColumns& columns, const ListingLine& line, FileTimeFormatter& times,
                   LineWriter& writer);

}  // namespace tabulon
