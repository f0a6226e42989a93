// Turns what a walk finds into a scan, and tells what it does not find.
#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "tools/mkdtl/walk.h"
#include "tools/scanwriter/dtlwriter.h"

namespace tabulon {

class ScanRecorder : public TreeVisitor {
 public:
  using Tell = std::function<void(std::string_view message)>;

  // `root` is the path of the tree as messages name it; `tell` takes whole lines.
  ScanRecorder(DtlWriter& writer, std::string root, Tell tell)
      : writer_(writer), root_(std::move(root)), tell_(std::move(tell)) {}

  bool Directory(const std::string& path, const struct stat& info) override;
  bool Files(const FileRecords& files) override;
  void MountPoint(const std::string& path) override;
  void Unreadable(const std::string& path, int error) override;

  // After the walk: tells what was too much to be told one by one, and adds names for the ids that
  // occur in the records; an id without a name is left out.
  void Finish(const OwnerSet& ownersOfFiles);

  uint64_t unreadable() const { return unreadable_; }
  uint64_t mountPoints() const { return mountPoints_; }

  // A path of the walk as the user knows it.
  std::string FullPath(const std::string& path) const;

 private:
  DtlWriter& writer_;
  std::string root_;
  Tell tell_;
  RecordSpec record_;
  OwnerSet owners_;
  uint64_t unreadable_ = 0;
  uint64_t mountPoints_ = 0;
};

}  // namespace tabulon
