// Where the runs of the duplicate finder begin. Groups are counted run by run, and a file belongs
// to a run by its number in file order. That is not known while threads gather files: so they count
// them by cells of the scan file, and list those in the cells that runs begin in.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "base/bytes.h"
#include "base/memory.h"

namespace tabulon {

class DupRuns {
 public:
  // `runFiles`: files of a run.
  DupRuns(uint64_t fileSize, uint32_t runFiles)
      : runFiles_(runFiles), files_(fileSize / kCell + 1) {
    files_.Resize(files_.capacity());
  }

  // Counts a file.
  void Count(uint64_t position) {
    if (position >= cellEnd_) EnterCell(position);
    ++*count_;
  }
  void Merge(DupRuns& part);
  // Ends the counting, finds the cells that runs begin in.
  void Finish();
  // Whether the files around `position` have to be listed.
  bool Wants(uint64_t position) const {
    if (starts_.empty()) return false;
    const size_t cell = CellOf(position);
    return (wanted_[cell / kWordBits] >> (cell % kWordBits) & 1) != 0;
  }
  // Takes the positions of all files that were wanted, in any order.
  void TakeWanted(std::vector<uint64_t>& positions);
  // The number of a file's run.
  uint32_t RunOf(uint64_t position) const {
    const auto after = std::upper_bound(firsts_.begin(), firsts_.end(), position);
    return static_cast<uint32_t>(after - firsts_.begin());
  }

 private:
  // Bytes of a cell: it holds at most 65535 records.
  static constexpr uint64_t kCell = 64 * 1024;
  void EnterCell(uint64_t position) {
    const size_t cell = CellOf(position);
    count_ = &files_[cell];
    cellEnd_ = (uint64_t{cell} + 1) * kCell;
  }
  // A file that grows during the run counts in its last cell.
  size_t CellOf(uint64_t position) const {
    return std::min(static_cast<size_t>(position / kCell), files_.size() - 1);
  }
  // Where a run begins: before the file of this number in the cell.
  struct Start {
    size_t cell;
    uint64_t number;
  };

  uint32_t runFiles_;
  HugeArray<uint16_t> files_;  // by cell
  uint16_t* count_ = nullptr;  // of the current cell
  uint64_t cellEnd_ = 0;
  std::vector<Start> starts_;     // of all runs but the first
  std::vector<uint64_t> firsts_;  // the positions of their first files
  std::vector<uint64_t> wanted_;  // a bit for each cell
};

}  // namespace tabulon
