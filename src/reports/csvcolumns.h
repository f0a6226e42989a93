// The columns of CSV listings: header and value of each field.
#pragma once

#include "detail/recordreader.h"
#include "detail/recordtext.h"
#include "reports/linewriter.h"
#include "reports/valueformat.h"

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

// Writes the header row, the row of one line.
void FormatCsvColHdrs(const ReportOutput& output, LineWriter& writer);
void FormatCsvLine(const ReportOutput& output, const ListingLine& line, FileTimeFormatter& times,
                   LineWriter& writer);

}  // namespace tabulon
