// The way through all files of a scan, with the directory that each is in.
#pragma once

#include <cstdint>
#include <string_view>

#include "detail/pass.h"
#include "query/choosepassing.h"
#include "tools/scanreader/escape.h"
#include "tools/scanreader/toolrun.h"

namespace tabulon {

// Calls directory(path, position) for each record of a directory, with its stored path and its file
// offset, and file(batch, i) for each record of something else that passes the plan (null: all do),
// in the order of the scan. Returns false when the scan breaks off.
template <class Directory, class File>
bool WalkFiles(const Scan& scan, const FilterPlan* plan, ReadProgress& progress,
               Directory&& directory, File&& file) {
  RecordReader reader(scan);
  Pass pass(scan);
  RecordBatch& batch = pass.batch;
  uint64_t position = scan.logRoot.firstRecord;
  for (uint64_t before = position; batch.Fill(reader, position); before = position) {
    progress.Add(position - before);
    if (plan != nullptr) ChoosePassing(*plan, pass);
    const bool all = plan == nullptr || pass.chosen.count == batch.size();
    size_t next = 0;  // index of the next chosen record
    for (size_t i = 0; i < batch.size(); ++i) {
      batch.FetchBehind(i);
      const bool chosen = all || (next < pass.chosen.count && pass.chosen.numbers[next] == i);
      next += chosen ? 1 : 0;
      if (batch.fields(i).isDirectory()) {
        directory(TextOf(batch.At(i).view.name), batch.At(i).view.position);
      } else if (chosen) {
        file(batch, i);
      }
    }
  }
  return reader.atEndMarker();
}

}  // namespace tabulon
