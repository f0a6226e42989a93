// Holding signals back.
#pragma once

#include <csignal>
#include <initializer_list>

namespace tabulon {

// Signals that a fault of the thread itself raises, or its writing to a pipe that nobody reads.
inline constexpr std::initializer_list<int> kOwnSignals = {SIGBUS, SIGSEGV, SIGFPE,
                                                           SIGILL, SIGTRAP, SIGPIPE};

// While it lives, signals are blocked in the thread that made it, and in threads that this thread
// starts meanwhile.
class SignalsBlocked {
 public:
  // All signals but those of `open`.
  explicit SignalsBlocked(std::initializer_list<int> open = {}) {
    sigset_t blocked;
    sigfillset(&blocked);
    for (const int signal : open) sigdelset(&blocked, signal);
    pthread_sigmask(SIG_BLOCK, &blocked, &before_);
  }
  ~SignalsBlocked() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
  SignalsBlocked(const SignalsBlocked&) = delete;
  SignalsBlocked& operator=(const SignalsBlocked&) = delete;

 private:
  sigset_t before_;
};

}  // namespace tabulon
