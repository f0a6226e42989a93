// Threads that format the lines of a report side by side: each takes a piece of the report, and the
// pieces are written in order.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <mutex>

#include "base/textstream.h"
#include "base/turns.h"
#include "reports/linewriter.h"

namespace tabulon {

class OrderedLines {
 public:
  // Lines go to `stream`.
  explicit OrderedLines(TextStream& stream) : stream_(stream) {}

  // Calls work(thread) on so many threads, as OnThreads does. When one fails, no thread gets
  // another piece, and what is formatted after that is not written.
  void Share(size_t threads, const std::function<void(size_t thread)>& work);

  // Has take() take what belongs to the next piece, one thread at a time. False when it says that
  // nothing is left. Sets the number of the piece.
  template <class Take>
  bool NextPiece(uint64_t& piece, Take&& take) {
    const std::lock_guard lock(taking_);
    if (over_ || !take()) return false;
    piece = next_++;
    return true;
  }
  // Writes and drops the lines gathered of a piece as soon as all earlier pieces are written.
  void Write(uint64_t piece, LineWriter& lines);
  // After the last Write of a piece, which needs one even if it has no lines.
  void Finish(uint64_t piece);

  // A thread that has gathered so much writes it although its piece goes on: memory stays bounded
  // however long lines are.
  static constexpr size_t kMostGathered = size_t{2} << 20;

 private:
  TextStream& stream_;
  Turns turns_;  // by piece
  std::mutex taking_;
  uint64_t next_ = 0;
  bool over_ = false;
};

}  // namespace tabulon
