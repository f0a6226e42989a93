#include "base/loganderr.h"

#include <fcntl.h>
#include <pthread.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <ctime>
#include <memory>
#include <new>
#include <optional>

#include "base/fileio.h"

namespace tabulon {

TextStream* logFile = nullptr;
TextStream* errFile = nullptr;
TextStream* debugLogFile = nullptr;
uint32_t errLogCombined = 0;
uint32_t useLogThrdLock = 0;
uint32_t useDebugLogThrdLock = 0;
int32_t debugLevel = 0;

namespace {

constexpr mode_t kLogMode = 0666;  // before the process mask

bool writeErrors = false;

// The mutexes of embedders that log from several threads; made when asked for.
std::unique_ptr<pthread_mutex_t> logLock;
std::unique_ptr<pthread_mutex_t> debugLogLock;

std::unique_ptr<pthread_mutex_t> NewLock() {
  auto lock = std::make_unique<pthread_mutex_t>();
  pthread_mutex_init(lock.get(), nullptr);
  return lock;
}

void DropLock(std::unique_ptr<pthread_mutex_t>& lock) {
  if (lock) pthread_mutex_destroy(lock.get());
  lock.reset();
}

// Holds a lock for one entry when locking is in use.
class EntryLock {
 public:
  EntryLock(uint32_t inUse, pthread_mutex_t* lock) : lock_(inUse == 1 ? lock : nullptr) {
    if (lock_ != nullptr) pthread_mutex_lock(lock_);
  }
  ~EntryLock() {
    if (lock_ != nullptr) pthread_mutex_unlock(lock_);
  }
  EntryLock(const EntryLock&) = delete;
  EntryLock& operator=(const EntryLock&) = delete;

 private:
  pthread_mutex_t* lock_;
};

// The streams of the process's own descriptors. They outlive every other object, and need no memory
// to be there: exhausted memory is told through them.
struct ConsoleStreams {
  ConsoleStreams() {
    out.Attach(STDOUT_FILENO, false, TextEncoding::kLocale, "standard output");
    err.Attach(STDERR_FILENO, false, TextEncoding::kLocale, "standard error");
  }
  TextStream out;
  TextStream err;
};

ConsoleStreams& Consoles() {
  alignas(ConsoleStreams) static std::byte place[sizeof(ConsoleStreams)];
  static auto* const streams = [] {
    auto* const made = new (place) ConsoleStreams;
    std::atexit([] { Consoles().out.Flush(); });
    return made;
  }();
  return *streams;
}

// The number of a system error, or none for messages without one.
using Errnum = std::optional<int>;

void Put(TextStream& stream, std::wstring_view format, log_internal::Args args) {
  std::wstring text;
  AppendFormatted(text, format, args, stream.IsTerminal());
  stream.Write(text);
}

void PutErrnoLine(TextStream& stream, int errnum) {
  const FormatArg args[] = {FormatArg(errnum), FormatArg(PosixErrMsg(errnum))};
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

void PutErrorTwice(Errnum errnum, std::wstring_view format, log_internal::Args args) {
  PutError(*errFile, errnum, format, args);
  if (errLogCombined != 0) return;
  Put(*logFile, format, args);
  if (errnum) PutErrnoLine(*logFile, *errnum);
}

void FlushOutput() {
  if (logFile != nullptr) logFile->Flush();
  Console().Flush();
}

[[noreturn]] void Leave(int status, Errnum errnum, std::wstring_view format,
                        log_internal::Args args) {
  TextStream& log = errFile != nullptr ? *errFile : ErrorConsole();
  PutError(log, errnum, format, args);
  if (&log != &ErrorConsole()) PutError(ErrorConsole(), errnum, format, args);
  FlushOutput();
  throw EndOfRun{status};
}

// Writes around the stream's buffer, which may not have been made yet.
void PutMemoryError(TextStream& stream, const wchar_t* label) {
  const auto put = [&](std::string_view bytes) {
    WriteFully(stream.fd(), bytes.data(), bytes.size());
  };
  Console().Flush();
  stream.Flush();
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
  if (fd < 0) {
    const int failure = errno;
    if (which == L"error") errFile = &ErrorConsole();
    PosixErrExit(failure, L"Unable to create %ls file '%s'\n", which, expanded);
  }
  stream.Attach(fd, true, TextEncoding::kLocale, expanded);
  return &stream;
}

}  // namespace

TextStream& Console() {
  return Consoles().out;
}
TextStream& ErrorConsole() {
  return Consoles().err;
}

void OpenLogErrFiles(int useLock, const char* logName, const char* errName) {
  static TextStream listStream;
  static TextStream errorStream;
  useLogThrdLock = useLock == 1 ? 1 : 0;
  if (useLogThrdLock == 1) logLock = NewLock();
  errFile = errName != nullptr ? OpenLog(errorStream, errName, O_TRUNC, L"error") : &ErrorConsole();
  logFile = logName != nullptr ? OpenLog(listStream, logName, O_TRUNC, L"log") : &Console();
  errLogCombined = errFile == &ErrorConsole() && logFile == &Console() ? 1 : 0;
}

void OpenDebugLogFile(int useLock, const char* name) {
  static TextStream debugStream;
  useDebugLogThrdLock = useLock == 1 ? 1 : 0;
  if (useDebugLogThrdLock == 1) debugLogLock = NewLock();
  debugLogFile = name != nullptr ? OpenLog(debugStream, name, O_APPEND, L"debug") : &Console();
}

bool CloseLogErrFiles() {
  if (logFile != nullptr) {
    TextStream& list = *logFile;
    list.Flush();
    Console().Flush();
    if (&list != &Console()) list.Close();
    if (list.error() != 0) ReportWriteError(list.name(), list.error());
    if (&list != &Console() && Console().error() != 0) {
      ReportWriteError(Console().name(), Console().error());
    }
  }
  if (errFile != nullptr && errFile != &ErrorConsole()) errFile->Close();
  return !writeErrors;
}

void CloseDebugLogFile() {
  if (debugLogFile == nullptr) return;
  if (debugLogFile == &Console()) {
    Console().Flush();
  } else {
    debugLogFile->Close();
  }
  debugLogFile = nullptr;
}

void LogExcEntry(std::string_view text) {
  const EntryLock lock(useLogThrdLock, logLock.get());
  logFile->WriteBytes(text);
}

void MemoryErrExit(const wchar_t* label) {
  TextStream& log = errFile != nullptr ? *errFile : ErrorConsole();
  PutMemoryError(log, label);
  if (&log != &ErrorConsole()) PutMemoryError(ErrorConsole(), label);
  FlushOutput();
  std::exit(1);
}

void ReportWriteError(std::string_view name, int errnum) {
  writeErrors = true;
  const FormatArg args[] = {FormatArg(name)};
  PutError(errFile != nullptr && errFile->IsOpen() ? *errFile : ErrorConsole(), errnum,
           L"Error writing '%s'\n", args);
}

bool HadWriteErrors() {
  return writeErrors;
}

namespace log_internal {

void Entry(std::wstring_view format, Args args) {
  const EntryLock lock(useLogThrdLock, logLock.get());
  Put(*logFile, format, args);
}

void Error(std::wstring_view format, Args args) {
  const EntryLock lock(useLogThrdLock, logLock.get());
  PutErrorTwice(std::nullopt, format, args);
}

void PosixError(int errnum, std::wstring_view format, Args args) {
  const int number = errnum != 0 ? errnum : errno;
  {
    const EntryLock lock(useLogThrdLock, logLock.get());
    PutErrorTwice(number, format, args);
  }
  // From here on there is no lock, and entries are not serialised. Kept so; see the header.
  if (useLogThrdLock == 1) DropLock(logLock);
}

void Debug(int level, std::wstring_view format, Args args) {
  if (level == 0 || level > debugLevel || debugLogFile == nullptr) return;
  const EntryLock lock(useDebugLogThrdLock, debugLogLock.get());
  const std::time_t now = std::time(nullptr);
  std::tm local{};
  localtime_r(&now, &local);
  wchar_t stamp[48];
  const size_t length = std::wcsftime(stamp, 48, L"%d-%m-%y %X", &local);
  debugLogFile->Write(std::wstring_view(stamp, length));
  debugLogFile->Write(L" ");
  Put(*debugLogFile, format, args);
  debugLogFile->Flush();
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
