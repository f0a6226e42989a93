// Threads that share a scan take it block by block. Only the chain of records' lengths tells where
// a record begins, so a block's first record is known when the block before has been walked over.
// That place is the baton: the thread of a block waits for it, walks over the lengths of the
// block's records, hands it on, and only then looks at the records.
//
// clang-format off
//   thread 1   read block 0 | walk | look at its records . . . . . | read 2 | walk | . . .
//   thread 2   read block 1 |      | walk | look at its records . . . . . | read 3 | walk | . . .
//                            baton ->      ->                               ->      ->
// clang-format on
//
// Walking takes 2 ns a record, looking 10 and more. The walk is all that the threads cannot do at
// the same time.
#pragma once

#include <atomic>
#include <cstdint>
#include <utility>

#include "base/turns.h"
#include "detail/recordbatch.h"

namespace tabulon {

class Baton {
 public:
  // `first`: where block 0 begins.
  explicit Baton(StreamPlace first) : place_(std::move(first)) {}

  // The number of a block that no thread has taken yet. Blocks are taken in ascending order.
  uint64_t NextBlock() { return next_.fetch_add(1, std::memory_order_relaxed); }

  // Waits until the block before this one has been walked over. False: there is nothing more to be
  // done. After it, until HandOn or End, no other thread uses the place.
  bool Await(uint64_t block) { return turns_.Await(block); }
  // The first record of the block, or a later one that the walk has come to.
  StreamPlace& place() { return place_; }
  void HandOn(uint64_t block) { turns_.HandOn(block); }
  // Nobody gets the baton any more: the records are over, or a thread has failed.
  void End() { turns_.End(); }

 private:
  StreamPlace place_;
  std::atomic<uint64_t> next_ = 0;
  Turns turns_;  // by block
};

}  // namespace tabulon
