#include "reports/orderedlines.h"

#include "base/loganderr.h"
#include "base/threads.h"

namespace tabulon {

void OrderedLines::Share(size_t threads, const std::function<void(size_t thread)>& work) {
  OnThreads(threads, [&](size_t thread) {
    try {
      work(thread);
    } catch (...) {
      turns_.End();
      const std::lock_guard lock(taking_);
      over_ = true;
      throw;
    }
  });
}

// The stream may be the list log, to which a thread that fails writes, too.
void OrderedLines::Write(uint64_t piece, LineWriter& lines) {
  if (turns_.Await(piece)) WriteInTurn([&] { stream_.WriteBytes(lines.gathered()); });
  lines.Drop();
}

// To place bytes takes a while, in which the next thread writes.
void OrderedLines::Finish(uint64_t piece) {
  UnplacedBytes unplaced;
  if (turns_.Await(piece)) unplaced = stream_.TakeUnplaced();
  turns_.HandOn(piece);
  unplaced.Place();
}

}  // namespace tabulon
