// The fields of an exported row: which there are, which of them a scan has, how each is written.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tools/dtlexport/row.h"
#include "tools/scanreader/writer.h"

namespace tabulon {

struct ExportField {
  std::string_view name;
  unsigned scans;   // kInNfs, kInCifs
  unsigned chosen;  // scans on which rows have this field when no fields are named
  // Whether the record has a value; null: always. NDJSON objects have no member for the `_bytes` of
  // texts that are UTF-8, and null for every other value that is not there.
  bool (*present)(const ExportRow& row);
  void (*write)(const ExportRow& row, RowWriter& out);
  bool isBytes = false;
};

// The columns of an export.
class ExportColumns {
 public:
  // The fields that `names`, separated by commas, asks for; none: those chosen for the
  // scan. In NDJSON every text brings its bytes along. On failure the result has no value and
  // `problem` says why.
  static std::optional<ExportColumns> Choose(const Scan& scan, ExportFormat format,
                                             std::optional<std::string_view> names,
                                             std::string& problem);

  void WriteHeader(RowWriter& out) const;
  void WriteRow(const ExportRow& row, RowWriter& out) const;
  // Whether one of them has this name.
  bool Has(std::string_view name) const;

 private:
  struct Column {
    const ExportField* field;
    std::string key;  // what precedes the value
  };
  void Add(ExportFormat format, const ExportField& field);

  std::vector<Column> columns_;
};

}  // namespace tabulon
