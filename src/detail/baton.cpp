#include "detail/baton.h"

#include "base/threads.h"

namespace tabulon {
namespace {

// Looks at the baton before a thread goes to sleep: some 50 microseconds, twice what a walk over a
// block takes. To sleep and be woken costs about as much.
constexpr int kLooks = 1000;

}  // namespace

bool Baton::Await(uint64_t block) {
  uint64_t turn = turn_.load(std::memory_order_acquire);
  for (int i = 0; i < kLooks && turn < block; ++i) {
    PauseProcessor();
    turn = turn_.load(std::memory_order_acquire);
  }
  while (turn < block) {
    turn_.wait(turn, std::memory_order_acquire);
    turn = turn_.load(std::memory_order_acquire);
  }
  return turn != kNobody;
}

// Not when another thread has ended the pass meanwhile.
void Baton::HandOn(uint64_t block) {
  if (turn_.compare_exchange_strong(block, block + 1, std::memory_order_release)) {
    turn_.notify_all();
  }
}

void Baton::End() {
  turn_.store(kNobody, std::memory_order_release);
  turn_.notify_all();
}

}  // namespace tabulon
