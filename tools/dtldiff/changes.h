// The changes that have been found, on their way to the output: counted, put in order, shown.
#pragma once

#include <array>
#include <cstdint>
#include <string_view>

#include "tools/dtldiff/changetable.h"
#include "tools/dtldiff/ordered.h"
#include "tools/dtldiff/pathfinder.h"

namespace tabulon {

class Changes {
 public:
  Changes(const DiffOptions& options, const QueriedScan& older, const QueriedScan& newer, int rows);

  // Whether such a change is told, for one that the query selects or not.
  bool Wants(ChangeKind kind, bool passes) const { return passes && options_.Wants(kind); }

  // Takes a change of one file in a directory of both scans; paths are the newer one's, as stored.
  void TakeInPlace(ChangeKind kind, uint64_t before, uint64_t after, std::string_view directory,
                   std::string_view name);
  // Takes a change of files by the places of their records; a missing one is kNoRecord.
  void Take(ChangeKind kind, uint64_t before, uint64_t after, const FilePlace& old,
            const FilePlace& now);

  RecordPaths& oldPaths() { return oldPaths_; }
  RecordPaths& newPaths() { return newPaths_; }

  // Shows what has not been shown yet.
  void End();
  // Whether there is a change that is told.
  bool any() const;
  // Whether paths were left out of paths0; each has been told.
  bool leftOut() const { return table_.leftOut(); }

 private:
  void Add(ChangeKind kind, uint64_t before, uint64_t after);
  void Show(const ChangeRow& row);

  const DiffOptions& options_;
  RecordPaths oldPaths_, newPaths_;
  ChangeTable table_;
  ChangeTotals totals_;
  OrderedChanges ordered_;
  FoundPath path_, newPath_;
};

}  // namespace tabulon
