// Changes as rows of text, CSV or JSON, or as paths.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

#include "tools/dtldiff/options.h"
#include "tools/scanreader/writer.h"

namespace tabulon {

struct ChangeRow {
  ChangeKind kind = ChangeKind::kMoved;
  uint64_t before = 0, after = 0;  // bytes, at most 2^63 - 1
  std::string_view path;
  std::string_view newPath;     // of a file that moved
  const char* fault = nullptr;  // of the path that paths0 shows

  int64_t difference() const { return static_cast<int64_t>(after) - static_cast<int64_t>(before); }
};

struct ChangeSum {
  uint64_t files = 0, before = 0, after = 0;
};
using ChangeTotals = std::array<ChangeSum, kChangeNames.size()>;

class ChangeTable {
 public:
  ChangeTable(const DiffOptions& options, int fd);

  // Shows a row unless there have been enough; returns whether it did.
  bool Row(const ChangeRow& row);
  // Ends the table, with a summary where one belongs.
  void End(const ChangeTotals& totals);
  bool leftOut() const { return leftOut_; }

 private:
  void Column(std::string_view text, size_t width);
  void TextRow(const ChangeRow& row);
  void TextHead(std::string_view first, size_t width);
  void TextFigures(uint64_t before, uint64_t after);
  void TextSummary(const ChangeTotals& totals);
  void DataRow(const ChangeRow& row);
  void DataSummary(const ChangeTotals& totals);
  void DataFigures(uint64_t before, uint64_t after);
  void DataPath(std::string_view name, std::string_view path);
  void PathRow(const ChangeRow& row);
  void Key(std::string_view name);

  const DiffOptions& options_;
  uint64_t rows_ = 0;
  bool leftOut_ = false;
  OutputBuffer text_;
  RowWriter data_;
  ExportText escaped_;
};

}  // namespace tabulon
