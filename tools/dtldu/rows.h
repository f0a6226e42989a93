// The rows that are shown: which directories, and in which order.
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include "tools/dtldu/dirtree.h"
#include "tools/dtldu/options.h"

namespace tabulon {

struct DirRows {
  std::vector<DirNumber> dirs;
  uint64_t left = 0;  // rows that --top leaves out
};

// `first`: the directory to begin at. REQUIRES: the tree has been added up.
DirRows ChooseRows(const DirTree& tree, const DuOptions& options, DirNumber first);

// The directory of --dir: a path as rows show it, or one from the root of the scan. kNoDir: the
// scan has none of this name.
DirNumber FindDirectory(const DirTree& tree, std::string_view root, std::string_view path);

// How much a directory has grown.
inline int64_t GrowthOf(const DirTree& tree, DirNumber dir) {
  return static_cast<int64_t>(tree.sums(0, dir).bytes) -
         static_cast<int64_t>(tree.sums(1, dir).bytes);
}

}  // namespace tabulon
