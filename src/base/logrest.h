// Completes the module loganderr: the writers and the exit that this program does not call.
#pragma once

#include "base/loganderr.h"

namespace tabulon {

// LogEntry for narrow text: a printf(3) format, written as the C library makes it, in the locale's
// encoding. Nothing is written when it cannot be made.
[[gnu::format(printf, 1, 2)]] void LogExcEntry(const char* format, ...);

namespace log_internal {
void PosixError(int errnum, std::wstring_view format, Args args);
}

// LogErr with the line "  (p<number>) <text>" of the system error behind it. `errnum` 0 = errno.
// Under locking it destroys the log lock; later entries are not serialised. On purpose.
template <class... A>
void LogPosixErr(int errnum, WideFormat<A...> format, const A&... args) {
  WithArgs([&](auto packed) { log_internal::PosixError(errnum, format.text, packed); }, args...);
}

// ErrExit with another status.
template <class... A>
[[noreturn]] void ErrExitWithRetCode(int status, WideFormat<A...> format, const A&... args) {
  WithArgs([&](auto packed) { log_internal::Exit(status, format.text, packed); }, args...);
  __builtin_unreachable();
}

}  // namespace tabulon
