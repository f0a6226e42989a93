#include "tools/dtlexport/paths.h"

#include "tools/scanreader/escape.h"
#include "tools/scanreader/rootpath.h"
#include "tools/scanreader/safepath.h"

namespace tabulon {
ScanPath PathFinder::Find(const ScanRecord& record, std::string_view directory) {
  if (position_ != record.directoryPosition) {
    position_ = record.directoryPosition;
    UseDirectory(TextOf(directory));
  }
  if (record.fields().isDirectory()) {
    return {std::string_view(path_).substr(0, length_), {}, fault_};
  }
  const std::string_view name = TextOf(record.view.name);
  return {path_, name, fault_ != nullptr ? fault_ : FaultOfName(name, separator_)};
}

void PathFinder::UseDirectory(std::string_view directory) {
  JoinRoot(separator_, root_, directory, path_);
  length_ = path_.size();
  if (!path_.ends_with(separator_)) path_ += separator_;
  fault_ = FaultOfDirectory(root_, directory, separator_);
}

}  // namespace tabulon
