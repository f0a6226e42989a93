#include "tools/dtldu/counting.h"

#include <algorithm>

#include "base/loganderr.h"
#include "tools/scanreader/filewalk.h"

namespace tabulon {

bool CountScan(const QueriedScan& scan, int number, HardLinks* links, DirTree& tree,
               ReadProgress& progress) {
  DirNumber dir = kRootDir;
  DirSums sums;  // of the directory's files met since its record
  const auto keep = [&] {
    DirSums& kept = tree.sums(number, dir);
    kept.bytes = AddBytes(kept.bytes, sums.bytes);
    kept.files += sums.files;
    kept.newest = std::max(kept.newest, sums.newest);
    sums = {};
  };
  const bool whole = WalkFiles(
      scan.scan, scan.filter(), progress,
      [&](std::string_view path, uint64_t) {
        keep();
        dir = tree.Number(path);
      },
      [&](const RecordBatch& batch, size_t i) {
        const RecordFields fields = batch.fields(i);
        ++sums.files;
        sums.newest = std::max(sums.newest, fields.modified());
        bool first = true;
        if (links != nullptr && links->IsLinked(fields)) links->NumberOf(fields, first);
        if (first) sums.bytes = AddBytes(sums.bytes, fields.size());
      });
  keep();
  return whole;
}

void TellBreakOff(const QueriedScan& scan) {
  LogErr(L"'%s' breaks off: what it holds has been counted, the rest is missing\n", scan.name);
}

}  // namespace tabulon
