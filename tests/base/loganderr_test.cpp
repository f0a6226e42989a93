#include "base/loganderr.h"

#include <gmock/gmock.h>

#include <cerrno>
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
  LogPosixErr(EACCES, L"first '%s'\n", "x");
  LogEntry(L"after\n");  // the lock is gone, the log is not
  CloseLogErrFiles();
  EXPECT_EQ(ReadFile(dir / "errors"), "first 'x'\n  (p13) Permission denied\n");
  EXPECT_EQ(ReadFile(dir / "list"),
            "na\xC3\xA9rrow\xC3 7\n" + ReadFile(dir / "errors") + "after\n");
}

TEST(DebugLog, TakesItsLevels) {
  const TempDir dir;
  const std::string path = dir / "debug";
  Logs logs;
  DebugLogEntry(1, L"never opened\n");
  logs.debugLevel = 3;
  OpenDebugLogFile(1, path.c_str());
  for (const int entry : {0, 1, 3, 4}) DebugLogEntry(entry, L"level %d\n", entry);
  CloseDebugLogFile();
  const std::string stamp = "[-0-9]+ [:0-9]+ ";
  EXPECT_THAT(ReadFile(path), MatchesRegex(stamp + "level 1\n" + stamp + "level 3\n"));
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

// clang-format off
const struct { void (*leave)(); int status; std::string message; } kFatalCases[] = {
    {[] { ErrExit(L"bad '%ls' %d\n", L"text", 3); }, 1, "bad 'text' 3\n"},
    {[] { ErrExitWithRetCode(7, L"seven\n"); }, 7, "seven\n"},
    {[] { PosixErrExit(ENOSPC, L"f '%s'\n", "f"); }, 1, "f 'f'\n  (p28) No space left on device\n"},
    {[] { errno = EACCES; PosixErrExit(0, L"now\n"); }, 1, "now\n  (p13) Permission denied\n"},
    {[] { ReserveMemory(size_t{1} << 62); }, 1, "Insufficient memory\n"},
    {[] { StringObject full; full.length = INT32_MAX; StringObjectCat(full, L"x"); }, 1,
     "Insufficient memory\n"},
};

// These end the process at once, with status 1.
const struct { void (*leave)(); std::string message; } kMemoryCases[] = {
    {[] { GetMem(size_t{1} << 31, nullptr); }, "Insufficient memory\n"},
    {[] { GetTreeMem(SIZE_MAX / 2); }, "Insufficient memory: called from 'tree alloc'\n"},
    {[] { EndRunWhenMemoryIsExhausted(); std::get_new_handler()(); }, "Insufficient memory\n"},
};
// clang-format on

// Every fatal exit tells its message on the error log and on the console, and writes nothing to the
// list log but what was there before.
class FatalExits : public testing::Test {
 protected:
  void OpenLogs() {
    OpenLogErrFiles(0, (dir_ / "list").c_str(), (dir_ / "errors").c_str());
    LogEntry(L"before\n");
  }
  void ExpectTold(const std::string& message) {
    EXPECT_EQ(ReadFile(dir_ / "errors"), message);
    EXPECT_EQ(ReadFile(dir_ / "list"), "before\n");
  }
  TempDir dir_;
};
using FatalExitsDeathTest = FatalExits;

TEST_F(FatalExits, TellAndUnwind) {
  for (const auto& row : kFatalCases) {
    EXPECT_ENDS(row.leave(), row.status, row.message);
    Logs logs;
    OpenLogs();
    EXPECT_ENDS(row.leave(), row.status, row.message);
    ExpectTold(row.message);
  }
}

TEST_F(FatalExitsDeathTest, MemoryTellsAndEndsTheProcess) {
  for (const auto& row : kMemoryCases) {
    EXPECT_EXIT(row.leave(), ExitedWithCode(1), testing::Eq(row.message));
    const auto run = [&] {
      OpenLogs();
      const TempFile lost = TempFile::CreateExclusive(dir_ / "temporary", 0600);
      row.leave();
    };
    EXPECT_EXIT(run(), ExitedWithCode(1), testing::Eq(row.message));
    ExpectTold(row.message);
    EXPECT_THAT(dir_.Entries(), testing::ElementsAre("errors", "list"));
  }
}

}  // namespace
}  // namespace tabulon
