// One record for the columns of a row: its directory and its name apart, each escaped once for all
// columns.
#pragma once

#include <string>
#include <string_view>

#include "detail/scanrecord.h"
#include "tools/dtlexport/scantexts.h"

namespace tabulon {

// The directory part of a path.
struct ExportDirectory {
  std::string stored;  // path with a separator after it, as it precedes a name
  size_t length = 0;   // of the path alone
  ExportText path;
  ExportText prefix;

  std::string_view pathBytes() const { return std::string_view(stored).substr(0, length); }
  // Takes `root` (which may be empty) followed by the path of a directory as its record has it, and
  // adds a separator unless the path ends in one.
  void Assign(ExportFormat format, char separator, std::string_view root,
              std::string_view directory);
  // Takes an empty path that nothing is put in front of: that of the root's parent.
  void AssignNone();
};

class ExportRow {
 public:
  // `root` is put before all paths, since records have them from the root of the scan.
  // `withTarget`: some column shows link targets. Scan and texts must outlive the row.
  ExportRow(const Scan& scan, const ScanTexts& texts, ExportFormat format, std::string_view root,
            bool withTarget)
      : scan_(scan),
        texts_(texts),
        format_(format),
        separator_(static_cast<char>(scan.pathSep)),
        root_(root),
        withTarget_(withTarget) {}

  // Sets the row to a record and the stored path of the directory that it is in. The record must
  // outlive the use.
  void Assign(const ScanRecord& record, std::string_view directory);

  const Scan& scan() const { return scan_; }
  const ScanTexts& texts() const { return texts_; }
  const RecordView& view() const { return record_->view; }
  const RecordFields& fields() const { return record_->view.fields; }
  const ExportDirectory& directory() const { return *directory_; }
  std::string_view nameBytes() const { return nameBytes_; }
  const ExportText& name() const { return name_; }
  std::string_view targetBytes() const { return targetBytes_; }
  // REQUIRES: view().hasTarget, and a column that shows targets.
  const ExportText& target() const { return target_; }

 private:
  void UseDirectoryOfFiles(std::string_view directory);
  void SplitDirectory(std::string_view path);

  const Scan& scan_;
  const ScanTexts& texts_;
  ExportFormat format_;
  char separator_;
  std::string_view root_;
  bool withTarget_;
  const ScanRecord* record_ = nullptr;
  ExportDirectory current_;                  // that of the files
  uint64_t currentPosition_ = ~uint64_t{0};  // of its record
  ExportDirectory parent_;                   // that of a directory
  const ExportDirectory* directory_ = nullptr;
  std::string_view nameBytes_;
  ExportText name_;
  std::string_view targetBytes_;
  ExportText target_;
};

}  // namespace tabulon
