#include "base/turns.h"

#include "base/threads.h"

namespace tabulon {
namespace {

// Looks at the turn before a thread goes to sleep: some 50 microseconds, twice what a walk over a
// block of a scan takes. To sleep and be woken costs about as much.
constexpr int kLooks = 1000;

}  // namespace

bool Turns::Await(uint64_t number) {
  uint64_t turn = turn_.load(std::memory_order_acquire);
  for (int i = 0; i < kLooks && turn < number; ++i) {
    PauseProcessor();
    turn = turn_.load(std::memory_order_acquire);
  }
  while (turn < number) {
    turn_.wait(turn, std::memory_order_acquire);
    turn = turn_.load(std::memory_order_acquire);
  }
  return turn != kNobody;
}

// Not when another thread has ended the turns meanwhile.
void Turns::HandOn(uint64_t number) {
  if (turn_.compare_exchange_strong(number, number + 1, std::memory_order_release)) {
    turn_.notify_all();
  }
}

void Turns::End() {
  turn_.store(kNobody, std::memory_order_release);
  turn_.notify_all();
}

}  // namespace tabulon
