// Records laid out as the file has them, apart from a writer: by another thread, for example.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "detail/dtlformat.h"
#include "tools/scanwriter/dtlspec.h"

namespace tabulon {

// What decides the layout of a scan's records.
struct RecordForm {
  ScanKind kind = ScanKind::kNfs;
  uint32_t revision = 8;
  bool terminateNames = true;
};

// What files add to the totals of a scan.
struct FileTotals {
  uint32_t files = 0;
  uint64_t bytes = 0;
  uint32_t counts[std::size(LogRoot{}.counts)] = {};
};

// Files (not directories) one after another, and what they add.
struct FileRecords {
  std::string bytes;
  FileTotals totals;
};

// Bytes of a record without names, streams and target.
size_t FixedRecordSize(ScanKind kind);

// Appends one record. Names and targets that a record cannot hold (65534 bytes and more) are cut.
void AppendRecord(std::string& bytes, const RecordForm& form, const RecordSpec& record);
// Adds a file to totals. REQUIRES: the record is not that of a directory.
void CountFile(FileTotals& totals, ScanKind kind, const RecordSpec& record);
// Both.
void AppendFile(FileRecords& files, const RecordForm& form, const RecordSpec& record);

}  // namespace tabulon
