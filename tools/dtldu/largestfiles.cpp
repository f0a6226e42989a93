#include "tools/dtldu/largestfiles.h"

#include <algorithm>
#include <string>
#include <vector>

#include "base/loganderr.h"
#include "tools/dtldu/rows.h"
#include "tools/scanreader/filewalk.h"

namespace tabulon {
namespace {

struct BestFile {
  int64_t weight;
  std::string path;
  uint64_t size;
  uint32_t modified;
};

// Whether `a` comes before `b` in the table.
bool Before(int64_t weightA, std::string_view pathA, const BestFile& b) {
  return weightA != b.weight ? weightA > b.weight : pathA < b.path;
}

// The best files met so far, in a heap whose top is the worst of them: most files are refused by
// one comparison with it.
class BestFiles {
 public:
  explicit BestFiles(uint64_t most) : most_(most) {}

  // Whether a file of this weight may still be among them.
  bool MayTake(int64_t weight) const {
    return files_.size() < most_ || weight >= files_.front().weight;
  }
  void Take(int64_t weight, std::string_view path, const RecordFields& fields) {
    if (files_.size() == most_) {
      if (!Before(weight, path, files_.front())) return;
      std::pop_heap(files_.begin(), files_.end(), Worse);
      files_.pop_back();
    }
    files_.push_back({weight, std::string(path), fields.size(), fields.modified()});
    std::push_heap(files_.begin(), files_.end(), Worse);
  }
  // All of them, the best first.
  const std::vector<BestFile>& Ordered() {
    std::sort_heap(files_.begin(), files_.end(), Worse);
    return files_;
  }

 private:
  static bool Worse(const BestFile& a, const BestFile& b) { return Before(a.weight, a.path, b); }

  uint64_t most_;
  std::vector<BestFile> files_;
};

int64_t WeightOf(DuOrder order, const RecordFields& fields) {
  if (order == DuOrder::kNewest) return fields.modified();
  if (order == DuOrder::kOldest) return -int64_t{fields.modified()};
  return static_cast<int64_t>(std::min(fields.size(), kMostBytes));
}

// The directory to begin at, and the tree, filled with the scan's directories so that it is known.
DirNumber FirstDirectory(const QueriedScan& scan, const DuOptions& options, DirTree& tree) {
  if (!options.dir) return kRootDir;
  ReadProgress silent(0, -1);
  WalkFiles(
      scan.scan, nullptr, silent, [&](std::string_view path, uint64_t) { tree.Number(path); },
      [](const RecordBatch&, size_t) {});
  const DirNumber first = FindDirectory(tree, scan.root, *options.dir);
  if (first == kNoDir) ErrExit(L"The scan has no directory '%s'\n", *options.dir);
  return first;
}

bool IsBelow(const DirTree& tree, DirNumber dir, DirNumber above) {
  while (dir > above) dir = tree.parent(dir);
  return dir == above;
}

}  // namespace

bool ShowFiles(const QueriedScan& scan, const DuOptions& options, DuTable& table,
               ReadProgress& progress) {
  DirTree tree(scan.separator(), 1);
  const DirNumber start = FirstDirectory(scan, options, tree);
  HardLinks links(scan.scan);
  BestFiles best(*options.files);
  DirNumber dir = kRootDir;
  bool below = dir == start;
  std::string path;
  const bool whole = WalkFiles(
      scan.scan, scan.filter(), progress,
      [&](std::string_view stored, uint64_t) {
        dir = tree.Number(stored);
        below = IsBelow(tree, dir, start);
      },
      [&](RecordBatch& batch, size_t i) {
        const RecordFields fields = batch.fields(i);
        bool first = true;
        if (options.linksOnce && links.IsLinked(fields)) links.NumberOf(fields, first);
        const int64_t weight = WeightOf(options.order, fields);
        if (!first || !below || !best.MayTake(weight)) return;
        tree.PathOf(dir, scan.root, path);
        if (!path.ends_with(scan.separator())) path += scan.separator();
        path += TextOf(batch.At(i).view.name);
        best.Take(weight, path, fields);
      });
  progress.Stop();
  for (const BestFile& file : best.Ordered()) {
    table.Row({.path = file.path,
               .bytes = file.size,
               .own = file.size,
               .files = 1,
               .newest = file.modified});
  }
  return whole;
}

}  // namespace tabulon
