#include "base/loganderr.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>

#include "base/fileio.h"
#include "base/tempfile.h"
#include "base/usedfiles.h"

namespace tabulon {
namespace {

constexpr mode_t kLogMode = 0666;   // before the process mask
constexpr size_t kStampBytes = 13;  // "YYMMDD.hhmmss"
constexpr size_t kDebugStampSize = 48;

// The one pointer to the logs of the run: a fatal exit can come from any depth, and without the
// pointer every function that may fail would take the logs as an argument.
constinit Logs* currentLogs = nullptr;

std::string TimeStamp(std::time_t time) {
  std::tm local{};
  localtime_r(&time, &local);
  // The year of the century; 2000 comes out as 100. Kept so; see the header.
  const int year = local.tm_year >= 101 ? local.tm_year - 100 : local.tm_year;
  char stamp[80];
  std::snprintf(stamp, sizeof stamp, "%02d%02d%02d.%02d%02d%02d", year, local.tm_mon + 1,
                local.tm_mday, local.tm_hour, local.tm_min, local.tm_sec);
  return stamp;
}

using log_internal::Errnum;

void Put(TextStream& stream, std::wstring_view format, log_internal::Args args) {
  std::wstring text;
  AppendFormatted(text, format, args, stream.IsTerminal());
  stream.Write(text);
}

void PutErrnoLine(TextStream& stream, int errnum) {
  const std::wstring text = PosixErrMsg(errnum);
  const FormatArg args[] = {FormatArg(errnum), FormatArg(text)};
  Put(stream, L"  (p%d) %ls\n", args);
}

// Error streams are unbuffered: what was written before them on the console shows before them.
void PutError(TextStream& stream, Errnum errnum, std::wstring_view format,
              log_internal::Args args) {
  Console().Flush();
  Put(stream, format, args);
  if (errnum) PutErrnoLine(stream, *errnum);
  stream.Flush();
}

// The error log, or standard error once it is closed.
TextStream& OpenErrorLog(Logs& logs) {
  return logs.errFile->IsOpen() ? *logs.errFile : logs.errorConsole;
}

void FlushOutput(Logs& logs) {
  logs.logFile->Flush();
  logs.console.Flush();
}

[[noreturn]] void Leave(int status, Errnum errnum, std::wstring_view format,
                        log_internal::Args args) {
  Logs& logs = CurrentLogs();
  const std::lock_guard lock(logs.inUse);
  if (!logs.ended) {
    PutError(*logs.errFile, errnum, format, args);
    if (logs.errFile != &logs.errorConsole) PutError(logs.errorConsole, errnum, format, args);
    FlushOutput(logs);
  }
  logs.ended = logs.sideBySide;
  throw EndOfRun{status};
}

// Whether this thread has the logs now. Another one that has them may be waiting for memory, too,
// so there is no waiting without end.
bool LockForAWhile(std::recursive_mutex& inUse) {
  constexpr int kTries = 100;
  constexpr useconds_t kPause = 1000;
  for (int i = 0; i < kTries; ++i) {
    if (inUse.try_lock()) return true;
    usleep(kPause);
  }
  return false;
}

// Writes directly, not through the streams: their buffers may not exist yet.
void PutMemoryError(int fd, const wchar_t* label) {
  const auto put = [&](std::string_view bytes) { WriteFully(fd, bytes.data(), bytes.size()); };
  put("Insufficient memory");
  if (label != nullptr) {
    put(": called from '");
    for (; *label != L'\0'; ++label) {
      const char byte = static_cast<char>(*label);
      put({&byte, 1});
    }
    put("'");
  }
  put("\n");
}

// Opens a log file under its expanded name, or ends the run.
TextStream* OpenLog(TextStream& stream, const char* name, int openFlags, std::wstring_view which) {
  const std::string expanded = MakeFilename(name);
  const int fd = open(expanded.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC | openFlags, kLogMode);
  if (fd < 0) PosixErrExit(0, L"Unable to create %ls file '%s'\n", which, expanded);
  stream.Attach(fd, true, TextEncoding::kLocale, expanded);
  return &stream;
}

void TellWriteError(const TextStream& stream) {
  if (stream.error() != 0) ReportWriteError(stream.name(), stream.error());
}

// One buffer for both logs keeps their lines whole and in order.
void ShareOneFile(Logs& logs) {
  logs.listStream.Close();
  logs.logFile = &logs.errorStream;
  fcntl(logs.errorStream.fd(), F_SETFL, O_APPEND);
}

void SetLock(std::optional<std::mutex>& lock, int useLock) {
  lock.reset();
  if (useLock == 1) lock.emplace();
}

}  // namespace

Logs::Logs() : before_(currentLogs) {
  console.Attach(STDOUT_FILENO, false, TextEncoding::kLocale, "standard output");
  errorConsole.Attach(STDERR_FILENO, false, TextEncoding::kLocale, "standard error");
  currentLogs = this;
}

Logs::~Logs() {
  currentLogs = before_;
}

Logs& CurrentLogs() {
  return *currentLogs;
}

SideBySide::SideBySide() : logs_(CurrentLogs()), outermost_(!logs_.sideBySide) {
  if (outermost_) logs_.sideBySide = true;
}

SideBySide::~SideBySide() {
  if (outermost_) logs_.sideBySide = logs_.ended = false;
}

std::string MakeFilename(std::string_view pattern) {
  std::string out;
  for (size_t i = 0; i < pattern.size(); ++i) {
    const bool token = pattern[i] == '%' && i + 1 < pattern.size() &&
                       (pattern[i + 1] == 'd' || pattern[i + 1] == 'D');
    if (!token) {
      out.push_back(pattern[i]);
      continue;
    }
    // The output moves on by exactly 13 characters, so a longer stamp is overwritten by what
    // follows it; the token's letter is copied by the next round.
    out.append(std::string_view(TimeStamp(std::time(nullptr))).substr(0, kStampBytes));
  }
  return out;
}

std::wstring PosixErrMsg(int errnum) {
  char buffer[256];
  const std::string_view text = strerror_r(errnum, buffer, sizeof buffer);
  std::wstring wide;
  for (const char byte : text) wide.push_back(static_cast<signed char>(byte));
  return wide;
}

void OpenLogErrFiles(int useLock, const char* logName, const char* errName) {
  Logs& logs = CurrentLogs();
  SetLock(logs.logLock, useLock);
  logs.errFile = &logs.errorConsole;
  if (errName != nullptr) logs.errFile = OpenLog(logs.errorStream, errName, O_TRUNC, L"error");
  logs.logFile = &logs.console;
  if (logName != nullptr) logs.logFile = OpenLog(logs.listStream, logName, O_TRUNC, L"log");
  if (IsSameFile(logs.listStream.fd(), logs.errorStream.fd())) ShareOneFile(logs);
  logs.errLogCombined = logs.errFile == &logs.errorConsole && logs.logFile == &logs.console;
}

void OpenDebugLogFile(int useLock, const char* name) {
  Logs& logs = CurrentLogs();
  SetLock(logs.debugLogLock, useLock);
  logs.debugLogFile =
      name != nullptr ? OpenLog(logs.debugStream, name, O_APPEND, L"debug") : &logs.console;
}

bool CloseLogErrFiles() {
  Logs& logs = CurrentLogs();
  TextStream& list = *logs.logFile;
  FlushOutput(logs);
  if (&list != logs.errFile) {
    if (&list != &logs.console) list.Close();
    TellWriteError(list);
  }
  if (&list != &logs.console) TellWriteError(logs.console);
  if (logs.errFile != &logs.errorConsole) {
    // Each of the two tells of the other.
    TellWriteError(logs.errorConsole);
    logs.errFile->Close();
    TellWriteError(*logs.errFile);
  }
  return !logs.writeErrors && logs.errorConsole.error() == 0;
}

void CloseDebugLogFile() {
  Logs& logs = CurrentLogs();
  if (logs.debugLogFile == &logs.console) logs.console.Flush();
  logs.debugStream.Close();
  TellWriteError(logs.debugStream);
  logs.debugLogFile = nullptr;
}

void MemoryErrExit(const wchar_t* label) {
  Logs* const logs = currentLogs;
  while (logs != nullptr && logs->exhausted.test_and_set()) pause();  // until the process ends
  if (logs != nullptr) {
    LockForAWhile(logs->inUse);
    logs->console.Flush();
    if (logs->errFile != &logs->errorConsole) PutMemoryError(logs->errFile->fd(), label);
  }
  PutMemoryError(STDERR_FILENO, label);
  if (logs != nullptr) FlushOutput(*logs);
  EndAtOnce();
}

void EndAtOnce() {
  RemoveTempFilesNow();
  _exit(currentLogs != nullptr ? currentLogs->failedStatus : 1);
}

void ReportWriteError(std::string_view name, int errnum) {
  Logs& logs = CurrentLogs();
  logs.writeErrors = true;
  const FormatArg args[] = {FormatArg(name)};
  PutError(OpenErrorLog(logs), errnum, L"Error writing '%s'\n", args);
}

bool HadWriteErrors() {
  return CurrentLogs().writeErrors;
}

namespace log_internal {

std::unique_lock<std::mutex> EntryLock(std::optional<std::mutex>& lock) {
  return lock ? std::unique_lock(*lock) : std::unique_lock<std::mutex>();
}

void PutErrorTwice(Logs& logs, Errnum errnum, std::wstring_view format, Args args) {
  PutError(*logs.errFile, errnum, format, args);
  if (logs.errLogCombined) return;
  Put(*logs.logFile, format, args);
  if (errnum) PutErrnoLine(*logs.logFile, *errnum);
}

void Entry(std::wstring_view format, Args args) {
  const auto lock = EntryLock(CurrentLogs().logLock);
  Put(*CurrentLogs().logFile, format, args);
}

void Error(std::wstring_view format, Args args) {
  Logs& logs = CurrentLogs();
  const auto lock = EntryLock(logs.logLock);
  PutErrorTwice(logs, std::nullopt, format, args);
}

void Debug(int level, std::wstring_view format, Args args) {
  Logs& logs = CurrentLogs();
  if (level == 0 || level > logs.debugLevel || logs.debugLogFile == nullptr) return;
  const auto lock = EntryLock(logs.debugLogLock);
  const std::time_t now = std::time(nullptr);
  std::tm local{};
  localtime_r(&now, &local);
  wchar_t stamp[kDebugStampSize];
  const size_t length = std::wcsftime(stamp, kDebugStampSize, L"%d-%m-%y %X", &local);
  logs.debugLogFile->Write(std::wstring_view(stamp, length));
  logs.debugLogFile->Write(L" ");
  Put(*logs.debugLogFile, format, args);
  logs.debugLogFile->Flush();
}

void ErrorOnly(std::wstring_view format, Args args) {
  PutError(OpenErrorLog(CurrentLogs()), std::nullopt, format, args);
}

void Fault(std::wstring_view format, Args args) {
  CurrentLogs().writeErrors = true;
  ErrorOnly(format, args);
}

void ConsoleEntry(TextStream& stream, std::wstring_view format, Args args) {
  Put(stream, format, args);
  if (&stream == &ErrorConsole()) stream.Flush();
}

void Exit(int status, std::wstring_view format, Args args) {
  Leave(status, std::nullopt, format, args);
}

void PosixExit(int errnum, std::wstring_view format, Args args) {
  Leave(1, errnum != 0 ? errnum : errno, format, args);
}

}  // namespace log_internal

}  // namespace tabulon
