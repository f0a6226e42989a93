#include "tools/dtldu/rows.h"

#include <algorithm>

namespace tabulon {
namespace {

// What rows are ordered by, larger ones first.
int64_t WeightOf(const DirTree& tree, DuOrder order, DirNumber dir) {
  const DirSums& sums = tree.sums(0, dir);
  switch (order) {
    case DuOrder::kOwn:
      return static_cast<int64_t>(sums.own);
    case DuOrder::kFiles:
      return static_cast<int64_t>(sums.files);
    case DuOrder::kNewest:
      return sums.newest;
    case DuOrder::kGrowth:
      return GrowthOf(tree, dir);
    default:
      return static_cast<int64_t>(sums.bytes);
  }
}

// Directories below `first`, itself included, down to the depth that is wanted. A query leaves out
// those where it selects nothing.
std::vector<DirNumber> DirsBelow(const DirTree& tree, const DuOptions& options, DirNumber first) {
  std::vector<DirNumber> dirs;
  std::vector<bool> below(tree.size(), first == kRootDir);
  below[first] = true;
  for (DirNumber dir = first; dir < tree.size(); ++dir) {
    if (dir != first) below[dir] = below[tree.parent(dir)];
    if (!below[dir] || tree.depth(dir) - tree.depth(first) > options.depth) continue;
    uint64_t files = 0;
    for (int scan = 0; scan < tree.scans(); ++scan) files += tree.sums(scan, dir).files;
    if (dir == first || files > 0 || !options.where) dirs.push_back(dir);
  }
  return dirs;
}

}  // namespace

DirRows ChooseRows(const DirTree& tree, const DuOptions& options, DirNumber first) {
  DirRows rows{DirsBelow(tree, options, first)};
  std::string pathA, pathB;
  const auto before = [&](DirNumber a, DirNumber b) {
    const int64_t weightA = WeightOf(tree, options.order, a);
    const int64_t weightB = WeightOf(tree, options.order, b);
    if (weightA != weightB) return weightA > weightB;
    tree.PathOf(a, {}, pathA);
    tree.PathOf(b, {}, pathB);
    return pathA < pathB;
  };
  const uint64_t all = rows.dirs.size();
  const uint64_t shown = options.top == 0 ? all : std::min(options.top, all);
  std::partial_sort(rows.dirs.begin(), rows.dirs.begin() + static_cast<std::ptrdiff_t>(shown),
                    rows.dirs.end(), before);
  rows.dirs.resize(shown);
  rows.left = all - shown;
  return rows;
}

DirNumber FindDirectory(const DirTree& tree, std::string_view root, std::string_view path) {
  if (path.starts_with(root)) {
    const std::string_view rest = path.substr(root.size());
    const bool whole = rest.empty() || rest.front() == tree.separator() ||
                       root.ends_with(tree.separator()) || root.empty();
    const DirNumber found = whole ? tree.Find(rest) : kNoDir;
    if (found != kNoDir) return found;
  }
  return tree.Find(path);
}

}  // namespace tabulon
