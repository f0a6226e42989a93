#include "tools/scanreader/toolrun.h"

#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <csignal>
#include <cstdio>

#include "base/localetext.h"
#include "base/loganderr.h"
#include "base/memory.h"
#include "base/standardfds.h"
#include "base/tempfile.h"
#include "tools/common/figures.h"

namespace tabulon {
namespace {

int RunPrepared(int argc, char** argv, int (*run)(int argc, char** argv), int failed) {
  ChooseLocale();
  std::signal(SIGXFSZ, SIG_IGN);  // a file that reaches the size limit is told like a full disk
  RemoveTempFilesOnSignals();
  const int status = run(argc, argv);
  return CloseLogErrFiles() || status != kExitDone ? status : failed;
}

ProgressLine::Text TextOf(const std::atomic<uint64_t>& done, uint64_t total, int rows) {
  return [&done, total, rows](std::chrono::duration<double> elapsed) -> std::string {
    if (total == 0 || (rows >= 0 && isatty(rows) != 0)) return {};
    const uint64_t read = std::min(done.load(std::memory_order_relaxed), total);
    const auto share =
        static_cast<unsigned>(100 * static_cast<double>(read) / static_cast<double>(total));
    const std::string left = RemainingText(read, total, elapsed);
    return "reading: " + std::to_string(share) + " %" + (left.empty() ? "" : ", " + left);
  };
}

}  // namespace

int RunTool(int argc, char** argv, int (*run)(int argc, char** argv), int failed) {
  const bool held = HoldStandardDescriptors();
  Logs logs;
  logs.failedStatus = failed;
  EndRunWhenMemoryIsExhausted();
  try {
    if (!held) PosixErrExit(0, L"The closed standard streams cannot be replaced\n");
    return RunPrepared(argc, argv, run, failed);
  } catch (const EndOfRun& end) {
    return end.status == kExitFailed ? failed : end.status;
  }
}

void EndWithUsage(const Companion& companion, std::string_view problem, std::string_view what) {
  throw EndOfRun{UsageError(companion, problem, what)};
}

void EndWithHelp(const Companion& companion) {
  throw EndOfRun{ShowHelp(companion)};
}

void EndWithVersion(const Companion& companion) {
  throw EndOfRun{ShowVersion(companion)};
}

std::string ScanArgument(const Companion& companion, const char* argument) {
  if (IsStandardOutput(argument)) {
    EndWithUsage(companion, "a scan is a file; standard input cannot be read as one");
  }
  return argument;
}

uint64_t NumberArgument(const Companion& companion, const char* option, std::string_view text) {
  uint64_t number = 0;
  const char* const end = text.data() + text.size();
  const auto result = std::from_chars(text.data(), end, number);
  if (result.ec == std::errc() && result.ptr == end) return number;
  EndWithUsage(companion, std::string(option) + " takes a number, not ", text);
}

int TakeStandardOutput(const Companion& companion) {
  const int rows = dup(STDOUT_FILENO);
  if (rows < 0 || dup2(STDERR_FILENO, STDOUT_FILENO) < 0) {
    std::perror((std::string(companion.name) + ": standard output").c_str());
    throw EndOfRun{kExitFailed};
  }
  return rows;
}

void CloseRows(int rows) {
  if (close(rows) != 0) PosixErrExit(0, L"Error writing the rows\n");
}

uint64_t AssumedRecordsEnd(const Scan& scan) {
  const uint64_t firstRecord = scan.logRoot.firstRecord;
  uint64_t end = scan.fileSize;
  for (const uint64_t section : {scan.logHdr.securitySection, scan.logHdr.idSection}) {
    if (section > firstRecord) end = std::min(end, section);
  }
  return std::max(end, firstRecord);
}

void RequireOneKind(const Scan& older, const std::string& olderName, const Scan& scan,
                    const std::string& name) {
  if (older.isCifs() == scan.isCifs()) return;
  ErrExit(L"'%s' is a scan of another kind than '%s'\n", olderName, name);
}

ReadProgress::ReadProgress(uint64_t total, int rows) : line_(TextOf(done_, total, rows)) {}

}  // namespace tabulon
