#include "tools/mkdtl/signalthread.h"

#include <system_error>

namespace tabulon {

SignalThread::SignalThread() {
  try {
    thread_ = std::jthread([this] { over_.acquire(); });
  } catch (const std::system_error&) {
    return;  // no thread: signals are heard as before
  }
  blockedHere_.emplace(kOwnSignals);
}

SignalThread::~SignalThread() {
  over_.release();
}

}  // namespace tabulon
