#include "reports/dupruns.h"

namespace tabulon {

void DupRuns::Merge(DupRuns& part) {
  for (size_t i = 0; i < files_.size(); ++i)
    files_[i] = static_cast<uint16_t>(files_[i] + part.files_[i]);
}

void DupRuns::Finish() {
  uint64_t before = 0;
  for (size_t cell = 0; cell < files_.size(); ++cell) {
    const uint64_t after = before + files_[cell];
    for (uint64_t start = (before + runFiles_ - 1) / runFiles_ * runFiles_; start < after;
         start += runFiles_) {
      if (start > 0) starts_.push_back({cell, start - before});
    }
    before = after;
  }
  if (starts_.empty()) return;
  wanted_.resize(files_.size() / kWordBits + 1);
  for (const Start& start : starts_) {
    wanted_[start.cell / kWordBits] |= uint64_t{1} << (start.cell % kWordBits);
  }
}

void DupRuns::TakeWanted(std::vector<uint64_t>& positions) {
  std::sort(positions.begin(), positions.end());
  auto from = positions.begin();
  for (const Start& start : starts_) {
    from =
        std::find_if(from, positions.end(), [&](uint64_t at) { return CellOf(at) >= start.cell; });
    if (start.number >= static_cast<uint64_t>(positions.end() - from)) break;  // the file changes
    firsts_.push_back(from[static_cast<std::ptrdiff_t>(start.number)]);
  }
}

}  // namespace tabulon
