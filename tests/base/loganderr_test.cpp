#include "base/loganderr.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <memory>
#include <new>

#include "base/memory.h"
#include "base/rest.h"
#include "base/stringobj.h"
#include "base/tempfile.h"
#include "tests/ending.h"
#include "tests/support.h"
#include "tests/terminal.h"

namespace tabulon {
namespace {

using testing::ExitedWithCode;
using testing::MatchesRegex;

TEST(Logs, ErrorLinesAlsoGoToTheListLogUnlessBothAreTheConsole) {
  const TempDir dir;
  const std::string list = dir / "list", errors = dir / "errors";
  // What standard output, standard error and the two files hold in the end.
  // clang-format off
  const struct { bool list, errors; std::string out, err, inList, inErrors; } rows[] = {
      {false, false, "one\n", "bad 7\n", "", ""}, {true, false, "", "bad 7\n", "one\nbad 7\n", ""},
      {false, true, "one\nbad 7\n", "", "", "bad 7\n"},
      {true, true, "", "", "one\nbad 7\n", "bad 7\n"},
  };
  // clang-format on
  for (const auto& row : rows) {
    for (const std::string& path : {list, errors}) WriteFile(path, "");
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    Logs logs;
    OpenLogErrFiles(0, row.list ? list.c_str() : nullptr, row.errors ? errors.c_str() : nullptr);
    LogEntry(L"one\n");
    LogErr(L"bad %d\n", 7);
    EXPECT_EQ(logs.errLogCombined, !row.list && !row.errors);
    EXPECT_TRUE(CloseLogErrFiles());
    EXPECT_EQ(testing::internal::GetCapturedStdout(), row.out);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), row.err);
    EXPECT_EQ(ReadFile(list) + "|" + ReadFile(errors), row.inList + "|" + row.inErrors);
  }
}

TEST(Logs, SystemErrorsCarryNumberAndText) {
  const TempDir dir;
  Logs logs;
  OpenLogErrFiles(1, (dir / "list").c_str(), (dir / "errors").c_str());
  LogExcEntry("na\xC3\xA9%s %d\n", "rrow\xC3", 7);
  errno = EACCES;
  LogPosixErr(0, L"first '%s'\n", "x");
  CloseLogErrFiles();
  OpenLogErrFiles(1, (dir / "list2").c_str(), (dir / "errors2").c_str());
  LogPosixErr(ENOENT, L"second\n");
  LogEntry(L"after\n");  // the lock is gone, the log is not
  CloseLogErrFiles();
  EXPECT_EQ(ReadFile(dir / "errors"), "first 'x'\n  (p13) Permission denied\n");
  EXPECT_EQ(ReadFile(dir / "list"), "na\xC3\xA9rrow\xC3 7\n" + ReadFile(dir / "errors"));
  EXPECT_EQ(ReadFile(dir / "errors2"), "second\n  (p2) No such file or directory\n");
  EXPECT_EQ(ReadFile(dir / "list2"), ReadFile(dir / "errors2") + "after\n");
}

TEST(DebugLog, TakesItsLevelsAndGathersRuns) {
  const TempDir dir;
  const std::string path = dir / "debug";
  Logs logs;
  DebugLogEntry(1, L"never opened\n");
  for (const int level : {0, 1, 3}) {
    logs.debugLevel = level;
    OpenDebugLogFile(1, path.c_str());
    for (const int entry : {0, 1, 3, 4}) DebugLogEntry(entry, L"level %d of %d\n", entry, level);
    CloseDebugLogFile();
  }
  const std::string stamp = "[-0-9]+ [:0-9]+ ";
  EXPECT_THAT(ReadFile(path), MatchesRegex(stamp + "level 1 of 1\n" + stamp + "level 1 of 3\n" +
                                           stamp + "level 3 of 3\n"));
}

TEST(Logs, FilesThatCannotBeMadeEndTheRun) {
  const auto message = [](const char* which) {
    return "Unable to create " + std::string(which) +
           " file '/nonexistent/x'\n  (p2) No such file or directory\n";
  };
  EXPECT_ENDS(OpenLogErrFiles(0, nullptr, "/nonexistent/x"), 1, message("error"));
  EXPECT_ENDS(OpenLogErrFiles(0, "/nonexistent/x", nullptr), 1, message("log"));
  EXPECT_ENDS(OpenDebugLogFile(0, "/nonexistent/x"), 1, message("debug"));
}

void ExitWithErrno(int error) {
  errno = error;
  PosixErrExit(0, L"current\n");
}

void AllocateTooMuch() {
  Arena arena;
  TempAlloc(sizeof arena->payload + 1, arena);
}

// clang-format off
const struct { void (*leave)(); int status; std::string message; } kFatalCases[] = {
    {[] { ErrExit(L"bad '%ls' %d\n", L"text", 3); }, 1, "bad 'text' 3\n"},
    {[] { ErrExitWithRetCode(7, L"seven\n"); }, 7, "seven\n"},
    {[] { PosixErrExit(ENOSPC, L"f '%s'\n", "f"); }, 1, "f 'f'\n  (p28) No space left on device\n"},
    {[] { ExitWithErrno(EACCES); }, 1, "current\n  (p13) Permission denied\n"},
    {[] { ExitWithErrno(0); }, 1, "current\n  (p0) Success\n"},
    {[] { ReserveMemory(size_t{1} << 62); }, 1, "Insufficient memory\n"},
    {[] { StringObject full; full.length = INT32_MAX; StringObjectCat(full, L"x"); }, 1,
     "Insufficient memory\n"},
};

// These end the process at once, with status 1.
const struct { void (*leave)(); std::string label; } kMemoryCases[] = {
    {[] { GetMem(size_t{1} << 31, nullptr); }, ""},
    {[] { GetMem(SIZE_MAX, L"here"); }, "here"},
    {[] { GetTreeMem(SIZE_MAX / 2); }, "tree alloc"},
    {AllocateTooMuch, "allocate temm mem"},
    {[] { EndRunWhenMemoryIsExhausted(); std::get_new_handler()(); }, ""},
};
// clang-format on

// Every fatal exit tells its message on the error log and on the console, writes nothing to the
// list log but what was there before, and takes the temporary files with it.
class FatalExits : public testing::Test {
 protected:
  // What is there when a run ends.
  void Begin() {
    OpenLogErrFiles(0, (dir_ / "list").c_str(), (dir_ / "errors").c_str());
    owned_ = TempFile::CreateExclusive(dir_ / "temporary", 0600);
    LogEntry(L"before\n");
  }
  void ExpectTold(const std::string& message) {
    EXPECT_EQ(ReadFile(dir_ / "errors"), message);
    EXPECT_EQ(ReadFile(dir_ / "list"), "before\n");
  }
  TempDir dir_;
  Logs logs_;
  TempFile owned_;
};
using FatalExitsDeathTest = FatalExits;

TEST_F(FatalExits, TellAndUnwind) {
  for (const auto& row : kFatalCases) {
    EXPECT_ENDS(row.leave(), row.status, row.message);
    Begin();
    EXPECT_ENDS(row.leave(), row.status, row.message);
    ExpectTold(row.message);
    owned_.Remove();
    CloseLogErrFiles();
    logs_.logFile = &logs_.console;
    logs_.errFile = &logs_.errorConsole;
  }
}

TEST_F(FatalExitsDeathTest, MemoryTellsAndEndsTheProcess) {
  for (const auto& row : kMemoryCases) {
    const std::string message = "Insufficient memory" +
                                (row.label.empty() ? "" : ": called from '" + row.label + "'") +
                                "\n";
    EXPECT_EXIT(row.leave(), ExitedWithCode(1), testing::Eq(message));
    const auto run = [&] {
      Begin();
      row.leave();
    };
    EXPECT_EXIT(run(), ExitedWithCode(1), testing::Eq(message));
    ExpectTold(message);
    EXPECT_THAT(dir_.Entries(), testing::ElementsAre("errors", "list"));
  }
}

}  // namespace
}  // namespace tabulon
