// The directories of one scan, or of two scans of one tree, with what is in them. Records name
// directories by their paths; here each has a number, and so has every directory above it, whether
// the scan has a record for that or not.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "tools/dtldu/blockarray.h"
#include "tools/scanreader/indextable.h"

namespace tabulon {

using DirNumber = uint32_t;
inline constexpr DirNumber kRootDir = 0;
inline constexpr DirNumber kNoDir = IndexTable::kNone;

// The sums of a directory. `bytes`, `files` and `newest` are those of its own files while a scan is
// counted, and of all files below it after DirTree::AddUp. Bytes end at kMostBytes.
struct DirSums {
  uint64_t bytes = 0;
  uint64_t own = 0;  // of the files that are in it itself; after AddUp
  uint64_t files = 0;
  uint32_t newest = 0;  // last modification
};

// Sums of bytes end here, far above any disk, so that the difference of two fits a signed number.
inline constexpr uint64_t kMostBytes = INT64_MAX;
inline uint64_t AddBytes(uint64_t sum, uint64_t more) {
  return more > kMostBytes - sum ? kMostBytes : sum + more;
}

class DirTree {
 public:
  // `scans`: how many are counted, 1 or 2.
  DirTree(char separator, int scans);

  // The number of the directory of a stored path, counted from the root of the scan.
  DirNumber Number(std::string_view path);
  // The same for one that is there already; kNoDir: it is not.
  DirNumber Find(std::string_view path) const;

  // Numbers are below it; that of a directory is above those of all that it is in.
  DirNumber size() const { return size_; }
  DirNumber parent(DirNumber dir) const { return dirs_[dir].parent; }
  std::string_view name(DirNumber dir) const { return {dirs_[dir].name, dirs_[dir].nameLength}; }
  unsigned depth(DirNumber dir) const { return dirs_[dir].depth; }
  char separator() const { return separator_; }
  // Sets `path` to `root` followed by the path of the directory.
  void PathOf(DirNumber dir, std::string_view root, std::string& path) const;

  // Sums of one scan; those of the newer one have number 0.
  DirSums& sums(int scan, DirNumber dir) { return sums_[static_cast<size_t>(scan)][dir]; }
  const DirSums& sums(int scan, DirNumber dir) const {
    return sums_[static_cast<size_t>(scan)][dir];
  }
  int scans() const { return static_cast<int>(sums_.size()); }
  // Adds the sums of each directory to those above it. To be called once, when all is counted.
  void AddUp();

 private:
  struct Dir {
    const char* name;
    DirNumber parent;
    uint16_t nameLength;
    uint16_t depth;  // 0: the root; paths have no room for more than 32767
  };
  // A part of the path met last.
  struct Part {
    size_t end;  // offset after it
    DirNumber dir;
  };

  uint64_t HashOf(DirNumber parent, std::string_view name) const;
  DirNumber Child(DirNumber parent, std::string_view name) const;
  DirNumber Add(DirNumber parent, std::string_view name);
  const char* KeepName(std::string_view name);

  char separator_;
  uint64_t seed_;
  DirNumber size_ = 0;
  BlockArray<Dir> dirs_;
  std::vector<BlockArray<DirSums>> sums_;
  IndexTable byName_;
  std::vector<std::unique_ptr<char[]>> names_;
  size_t nameRoom_ = 0;  // bytes left in the last block of names
  char* nameAt_ = nullptr;
  std::string last_;  // path met last: most paths begin like the one before them
  std::vector<Part> parts_;
};

}  // namespace tabulon
