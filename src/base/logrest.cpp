// Completes the module loganderr.
#include "base/logrest.h"

#include <cerrno>
#include <cstdarg>
#include <cstdio>

namespace tabulon {

void LogExcEntry(const char* format, ...) {
  std::va_list args;
  va_start(args, format);
  std::va_list again;
  va_copy(again, args);
  const int length = std::vsnprintf(nullptr, 0, format, args);
  va_end(args);
  std::string text(static_cast<size_t>(length < 0 ? 0 : length) + 1, '\0');
  if (length > 0) std::vsnprintf(text.data(), text.size(), format, again);
  va_end(again);
  text.pop_back();
  Logs& logs = CurrentLogs();
  const auto lock = log_internal::EntryLock(logs.logLock);
  logs.logFile->WriteBytes(text);
}

void log_internal::PosixError(int errnum, std::wstring_view format, Args args) {
  const int number = errnum != 0 ? errnum : errno;
  Logs& logs = CurrentLogs();
  {
    const auto lock = EntryLock(logs.logLock);
    PutErrorTwice(logs, number, format, args);
  }
  // From here on there is no lock, and entries are not serialised. Kept so; see the header.
  logs.logLock.reset();
}

}  // namespace tabulon
