// Hears signals while all other threads may be waiting for a server that does not answer.
#pragma once

#include <optional>
#include <semaphore>
#include <thread>

#include "base/signalsblocked.h"

namespace tabulon {

// While it lives, the signals to the process are heard by a thread that does nothing else, and by
// none that is started meanwhile. A thread that waits for a filesystem would not run the handler of
// a signal before it has its answer; when the handler ends the process, such a thread ends with it.
class SignalThread {
 public:
  SignalThread();
  ~SignalThread();
  SignalThread(const SignalThread&) = delete;
  SignalThread& operator=(const SignalThread&) = delete;

 private:
  std::binary_semaphore over_{0};
  std::jthread thread_;
  std::optional<SignalsBlocked> blockedHere_;
};

}  // namespace tabulon
