// Changes put in order: by the size of their difference, the largest first, then by their paths.
// What exceeds a limit of memory goes to a temporary file in sorted runs.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "base/tempfile.h"
#include "tools/dtldiff/changetable.h"

namespace tabulon {

class OrderedChanges {
 public:
  void Add(const ChangeRow& row);
  // Ends the adding; the first row in order is the next to be read.
  void Finish();
  // The next row, valid until the next call; false after the last.
  bool Next(ChangeRow& row);

 private:
  static constexpr size_t kMostBytes = size_t{160} << 20;  // held in memory
  static constexpr size_t kRunBuffer = 64 * 1024;

  // A part of the file, in order.
  struct Run {
    off_t offset;  // of what comes after the buffer
    off_t end;
    std::vector<char> buffer;
    size_t at = 0;  // of the next row in the buffer
  };

  const char* RowAt(size_t number) const { return bytes_.data() + starts_[number]; }
  void Sort();
  void Spill();
  bool Fill(Run& run);

  std::vector<char> bytes_;       // rows, one after the other
  std::vector<uint32_t> starts_;  // where they begin, in order after Sort
  size_t next_ = 0;
  TempFile file_;
  off_t end_ = 0;
  std::vector<Run> runs_;
  std::vector<size_t> heap_;  // numbers of runs, the one with the first row on top
  bool started_ = false;      // a run's row has been handed out
};

}  // namespace tabulon
