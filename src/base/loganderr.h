// The program's three text streams (list log, error log, debug log) and its fatal exits.
//
// The list log takes the program's normal output, the error log its errors, the debug log entries
// up to the chosen level. No writer adds a line end; formats carry their own. Write errors are
// remembered by the streams and told by CloseLogErrFiles.
#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "base/format.h"
#include "base/textstream.h"

namespace tabulon {

// The logs of a run, which makes them first of all: while they live, everything below writes to
// them. Logs made meanwhile take their place until they go.
struct Logs {
  Logs();
  ~Logs();
  Logs(const Logs&) = delete;
  Logs& operator=(const Logs&) = delete;

  // The console's two streams. Everything that goes to standard output or standard error goes
  // through these, so that no line is lost or overtaken.
  TextStream console;
  TextStream errorConsole;

  TextStream* logFile = &console;       // the list log
  TextStream* errFile = &errorConsole;  // the error log
  TextStream* debugLogFile = nullptr;   // null until OpenDebugLogFile
  bool errLogCombined = true;  // error log and list log are the console's two streams, and error
                               // lines are written once only
  std::optional<std::mutex> logLock;       // there: writes to list and error log are serialised
  std::optional<std::mutex> debugLogLock;  // there: writes to the debug log are serialised
  int32_t debugLevel = 0;                  // 0 = no debug log; set by the driver from -debug
  bool writeErrors = false;                // something was not written, or not read, whole
  int failedStatus = 1;                    // of a process that has to end at once

  // Of threads that work side by side (SideBySide).
  std::recursive_mutex inUse;  // held by the one that writes or ends the run
  bool sideBySide = false;
  bool ended = false;          // one of them has told why the run ends
  std::atomic_flag exhausted;  // one of them ends the process: there is no memory

  // The files, when there are any, of the three logs.
  TextStream listStream;
  TextStream errorStream;
  TextStream debugStream;

 private:
  Logs* before_;
};

// The logs that were made last. REQUIRES: some live.
Logs& CurrentLogs();
inline TextStream& Console() {
  return CurrentLogs().console;
}
inline TextStream& ErrorConsole() {
  return CurrentLogs().errorConsole;
}

// Expands every "%d" or "%D" of a file name to the local date and time, "YYMMDD.hhmmss". The letter
// of the token is kept after the stamp ("list%d.txt" gives "list261115.101809d.txt"), and the
// year 2000 prints as "100": both on purpose.
std::string MakeFilename(std::string_view pattern);

// The C library's text for a system error number, each byte one unit, sign-extended.
std::wstring PosixErrMsg(int errnum);

// Opens list and error log; null means standard output and standard error. Both may be one file.
// Failure ends the run.
void OpenLogErrFiles(int useLock, const char* logName, const char* errName);
// Opens the debug log for appending; null means standard output. Failure ends the run.
void OpenDebugLogFile(int useLock, const char* name);
// Flushes and closes both logs. A list log that could not be written whole is told on the error log
// first, an error log on standard error. Returns false when either, or standard error, has lost
// anything.
bool CloseLogErrFiles();
// A debug log that could not be written whole is told on the error log.
void CloseDebugLogFile();

namespace log_internal {
using Args = std::span<const FormatArg>;
void Entry(std::wstring_view format, Args args);
void Error(std::wstring_view format, Args args);
// The number of a system error, or none for messages without one.
using Errnum = std::optional<int>;
// Holds a lock, if there is one, for one entry.
std::unique_lock<std::mutex> EntryLock(std::optional<std::mutex>& lock);
// To the error log and, unless both logs are the console, to the list log; takes no lock.
void PutErrorTwice(Logs& logs, Errnum errnum, std::wstring_view format, Args args);
void Debug(int level, std::wstring_view format, Args args);
void ConsoleEntry(TextStream& stream, std::wstring_view format, Args args);
void ErrorOnly(std::wstring_view format, Args args);
void Fault(std::wstring_view format, Args args);
[[noreturn]] void Exit(int status, std::wstring_view format, Args args);
[[noreturn]] void PosixExit(int errnum, std::wstring_view format, Args args);
}  // namespace log_internal

// Writes to the list log.
template <class... A>
void LogEntry(WideFormat<A...> format, const A&... args) {
  WithArgs([&](auto packed) { log_internal::Entry(format.text, packed); }, args...);
}

// Writes to the error log and, unless both logs are the console, to the list log.
template <class... A>
void LogErr(WideFormat<A...> format, const A&... args) {
  WithArgs([&](auto packed) { log_internal::Error(format.text, packed); }, args...);
}

// Writes to the debug log with a time stamp when 0 < level <= debugLevel.
template <class... A>
void DebugLogEntry(int level, WideFormat<A...> format, const A&... args) {
  WithArgs([&](auto packed) { log_internal::Debug(level, format.text, packed); }, args...);
}

// Writes to standard output or standard error, whatever the logs are.
template <class... A>
void ConsoleEntry(TextStream& stream, WideFormat<A...> format, const A&... args) {
  WithArgs([&](auto packed) { log_internal::ConsoleEntry(stream, format.text, packed); }, args...);
}

// Writes to the error log alone, never to the list log: what somebody has to know, but no reader of
// the results.
template <class... A>
void ErrorEntry(WideFormat<A...> format, const A&... args) {
  WithArgs([&](auto packed) { log_internal::ErrorOnly(format.text, packed); }, args...);
}

// ErrorEntry for what makes the answer of the run less than whole: its exit status becomes 1.
template <class... A>
void FaultEntry(WideFormat<A...> format, const A&... args) {
  WithArgs([&](auto packed) { log_internal::Fault(format.text, packed); }, args...);
}

// While it lives, other threads than the one that made it run. They write nothing to the logs but
// by WriteInTurn and the fatal exits. Of several fatal exits only the first tells its message. One
// of these threads may start threads of its own: the outermost counts.
class SideBySide {
 public:
  SideBySide();
  ~SideBySide();
  SideBySide(const SideBySide&) = delete;
  SideBySide& operator=(const SideBySide&) = delete;

 private:
  Logs& logs_;
  bool outermost_;
};

// Calls write() while no other thread writes; not at all when one has ended the run.
template <class Write>
void WriteInTurn(Write&& write) {
  Logs& logs = CurrentLogs();
  const std::lock_guard lock(logs.inUse);
  if (!logs.ended) write();
}

// What the fatal exits throw once they have told their message. Owners clean up by leaving scope;
// only the function that runs the program catches it, and ends with the status.
struct EndOfRun {
  int status;
};

// The fatal exits: the message goes to the error log and, when that is a file, to standard error
// too; then they throw EndOfRun with `status` (1 for ErrExit and PosixErrExit).
template <class... A>
[[noreturn]] void ErrExit(WideFormat<A...> format, const A&... args) {
  WithArgs([&](auto packed) { log_internal::Exit(1, format.text, packed); }, args...);
  __builtin_unreachable();
}

// The message is followed by the line of the system error; `errnum` 0 = errno at the call.
template <class... A>
[[noreturn]] void PosixErrExit(int errnum, WideFormat<A...> format, const A&... args) {
  WithArgs([&](auto packed) { log_internal::PosixExit(errnum, format.text, packed); }, args...);
  __builtin_unreachable();
}

// The fatal exit for exhausted memory: "Insufficient memory\n", with a label "Insufficient memory:
// called from '<label>'\n", to the same places. Allocates nothing, and ends the process at once
// with Logs::failedStatus, because unwinding may need memory. The label is ASCII.
[[noreturn]] void MemoryErrExit(const wchar_t* label);

// Removes the temporary files and ends the process with Logs::failedStatus: for where nothing can
// be thrown. Its message has been told.
[[noreturn]] void EndAtOnce();

// Notes that a stream which holds results could not be written whole, tells it on the error log and
// makes the exit status of the run 1. `name` is the file's name, `errnum` the system error.
void ReportWriteError(std::string_view name, int errnum);
// Whether ReportWriteError or FaultEntry has been called in this run.
bool HadWriteErrors();

}  // namespace tabulon
