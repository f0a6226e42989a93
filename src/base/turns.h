// Turns that threads take: what they do then comes in order.
#pragma once

#include <atomic>
#include <cstdint>

namespace tabulon {

class Turns {
 public:
  // Waits until it is the turn of this number; the first turn is that of 0. False: there are no
  // more turns. After it, until HandOn or End, it is nobody else's turn.
  bool Await(uint64_t number);
  // Gives the turn to the next number.
  void HandOn(uint64_t number);
  // Nobody gets a turn any more.
  void End();

 private:
  static constexpr uint64_t kNobody = UINT64_MAX;
  std::atomic<uint64_t> turn_ = 0;
};

}  // namespace tabulon
