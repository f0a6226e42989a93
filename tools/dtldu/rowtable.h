// Directories and files as rows of text, CSV or JSON.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "tools/dtldu/options.h"
#include "tools/scanreader/writer.h"

namespace tabulon {

// One row. A file is a row whose `files` is 1.
struct DuRow {
  std::string_view path;
  uint64_t bytes = 0;
  uint64_t own = 0;
  uint64_t files = 0;
  uint32_t newest = 0;
  uint64_t bytesBefore = 0;  // with an older scan
  uint64_t filesBefore = 0;
};

class DuTable {
 public:
  // `compared`: there is an older scan. `ofFiles`: rows of text show neither own bytes nor files.
  DuTable(int fd, DuFormat format, bool compared, bool ofFiles);

  void Row(const DuRow& row);
  // Ends the table. `left`: rows that have been left out.
  void End(uint64_t left);

 private:
  void TextHead();
  void TextRow(const DuRow& row);
  void Column(std::string_view text, size_t width);
  void DataRow(const DuRow& row);

  DuFormat format_;
  bool compared_;
  bool ofFiles_;
  OutputBuffer text_;
  RowWriter data_;
  ExportText path_;
};

}  // namespace tabulon
