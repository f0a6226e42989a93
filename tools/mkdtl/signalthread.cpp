#include "tools/mkdtl/signalthread.h"

#include <system_error>

namespace tabulon {
namespace {

// SIGPIPE is not among them: it belongs to the thread that writes.
constexpr int kHeardSignals[] = {SIGHUP,  SIGINT,  SIGQUIT, SIGALRM,
                                 SIGTERM, SIGUSR1, SIGUSR2, SIGXCPU};

}  // namespace

SignalThread::SignalThread() {
  pthread_sigmask(SIG_SETMASK, nullptr, &before_);
  try {
    thread_ = std::jthread([this] { over_.acquire(); });
  } catch (const std::system_error&) {
    return;  // no thread: signals are heard as before
  }
  sigset_t heard;
  sigemptyset(&heard);
  for (const int signalNumber : kHeardSignals) sigaddset(&heard, signalNumber);
  pthread_sigmask(SIG_BLOCK, &heard, nullptr);
}

SignalThread::~SignalThread() {
  pthread_sigmask(SIG_SETMASK, &before_, nullptr);
  over_.release();
}

}  // namespace tabulon
