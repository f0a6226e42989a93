// Walks a directory tree: one filesystem, links not followed, names sorted by their bytes, a
// directory's files before its subdirectories.
//
// The walk holds two directories open however deep the tree is, and never hands the system a path,
// so paths may be of any length. Its memory is that of the names in one directory plus the names of
// the subdirectories still to be entered on the way down.
#pragma once

#include <sys/stat.h>

#include <string>
#include <vector>

#include "base/uniquefd.h"

namespace tabulon {

// What a walk finds. Paths count from the root of the walk: "/" is the root, "/a/b" lies below it.
class TreeVisitor {
 public:
  virtual ~TreeVisitor() = default;
  // A directory. Its files follow, then its subdirectories. A directory on another filesystem is
  // told and not entered. Returning false ends the walk.
  virtual bool Directory(const std::string& path, const struct stat& info) = 0;
  // Anything else, in the directory told last. `target` is that of a symbolic link.
  virtual void File(const std::string& name, const struct stat& info,
                    const std::string& target) = 0;
  // What could not be read, and the system error. Entries that vanish while the walk is on are not
  // told: they are not there.
  virtual void Unreadable(const std::string& path, int error) = 0;
};

class TreeWalk {
 public:
  // `root` is an open directory.
  TreeWalk(UniqueFd root, TreeVisitor& visitor);

  void Run();

  // Longest path that is entered, in bytes; what a record of a detail file can name.
  static constexpr size_t kLongestPath = 65534;

 private:
  // A directory between the root and the current one.
  struct Level {
    size_t pathLength;
    dev_t device;
    ino_t inode;
    std::vector<std::string> subdirectories;  // sorted backwards; the last one is entered next
  };

  bool EnterRoot();
  bool Enter(const std::string& name);
  void TellFiles(Level& level);
  void TellEntry(const std::string& name, Level& level);
  std::vector<std::string> SortedNames();
  std::string LinkTarget(const std::string& name, const struct stat& info);
  void Push(const struct stat& info);
  void Ascend();
  bool OpenParent();
  bool OpenFromRoot();
  bool IsCurrent(const Level& level) const;
  std::string PathOf(const std::string& name) const;

  UniqueFd root_;
  UniqueFd current_;
  TreeVisitor& visitor_;
  dev_t device_ = 0;
  std::string path_ = "/";
  std::vector<Level> levels_;
};

}  // namespace tabulon
