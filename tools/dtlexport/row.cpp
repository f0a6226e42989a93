#include "tools/dtlexport/row.h"

#include "tools/scanreader/rootpath.h"

namespace tabulon {

void ExportDirectory::Assign(ExportFormat format, char separator, std::string_view root,
                             std::string_view directory) {
  JoinRoot(separator, root, directory, stored);
  length = stored.size();
  if (!stored.ends_with(separator)) stored += separator;
  EscapeText(format, pathBytes(), path);
  EscapeText(format, stored, prefix);
}

void ExportDirectory::AssignNone() {
  stored.clear();
  length = 0;
  EscapeText(ExportFormat::kCsv, {}, path);
  EscapeText(ExportFormat::kCsv, {}, prefix);
}

void ExportRow::Assign(const ScanRecord& record, std::string_view directory) {
  record_ = &record;
  if (fields().isDirectory()) {
    SplitDirectory(TextOf(view().name));
  } else {
    UseDirectoryOfFiles(directory);
    nameBytes_ = TextOf(view().name);
  }
  EscapeText(format_, nameBytes_, name_);
  if (!withTarget_ || !view().hasTarget) return;
  targetBytes_ = TextOf(view().target);
  EscapeText(format_, targetBytes_, target_);
}

// The path of a directory is escaped when its first file is met, once for all of them.
void ExportRow::UseDirectoryOfFiles(std::string_view directory) {
  directory_ = &current_;
  if (currentPosition_ == record_->directoryPosition) return;
  currentPosition_ = record_->directoryPosition;
  current_.Assign(format_, separator_, root_, TextOf(directory));
}

// A directory's record holds its whole path. The root of the scan is in no directory.
void ExportRow::SplitDirectory(std::string_view path) {
  directory_ = &parent_;
  const size_t last = path.empty() ? path.npos : path.rfind(separator_, path.size() - 1);
  if (last == path.npos || last + 1 == path.size()) {
    parent_.AssignNone();
    nameBytes_ = root_.empty() ? path : root_;
    return;
  }
  parent_.Assign(format_, separator_, root_, path.substr(0, last == 0 ? 1 : last));
  nameBytes_ = path.substr(last + 1);
}

}  // namespace tabulon
