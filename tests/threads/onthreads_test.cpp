#include "base/threads.h"

#include <gmock/gmock.h>

#include <atomic>
#include <csignal>
#include <map>
#include <stdexcept>

#include "base/loganderr.h"
#include "tests/ending.h"
#include "tests/support.h"

namespace tabulon {
namespace {

TEST(QuotaProcessors, AreThoseOfTheTightestGroup) {
  constexpr size_t kAny = SIZE_MAX;
  // clang-format off
  const struct {
    const char* memberships; std::map<std::string, std::string> files; size_t processors;
  } rows[] = {
      {"", {}, kAny}, {"0::/\n", {}, kAny}, {"0::/\n", {{"cpu.max", "rubbish"}}, kAny},
      {"0::/\n", {{"cpu.max", "max 100000\n"}}, kAny}, {"0::/\n", {{"cpu.max", "150000 100000\n"}}, 2},
      {"0::/\n", {{"cpu.max", "1000 100000\n"}}, 1},
      // Groups above count, too; what is not shown in a container is passed over.
      {"0::/a/b\n", {{"a/cpu.max", "300000 100000\n"}, {"a/b/cpu.max", "max 100000\n"}}, 3},
      {"0::/a/b\n", {{"a/cpu.max", "300000 100000\n"}, {"a/b/cpu.max", "200000 100000\n"}}, 2},
      {"0::/not/shown\n", {{"cpu.max", "400000 100000\n"}}, 4},
      // Version 1.
      {"5:memory:/\n4:cpu,cpuacct:/g\n",
       {{"cpu,cpuacct/g/cpu.cfs_quota_us", "500000\n"},
        {"cpu,cpuacct/g/cpu.cfs_period_us", "100000"}}, 5},
      {"4:cpu:/g\n", {{"cpu/cpu.cfs_quota_us", "-1\n"}, {"cpu/cpu.cfs_period_us", "100000"}}, kAny},
      {"4:cpuset:/\n", {{"cpuset/cpu.cfs_quota_us", "1\n"}, {"cpuset/cpu.cfs_period_us", "1"}}, kAny},
  };
  // clang-format on
  for (const auto& row : rows) {
    const TempDir root;
    for (const auto& [name, text] : row.files) {
      std::filesystem::create_directories(std::filesystem::path(root / name).parent_path());
      WriteFile(root / name, text);
    }
    EXPECT_EQ(QuotaProcessors(row.memberships, root.path()), row.processors) << row.memberships;
  }
}

TEST(OnThreads, CallsEachOnce) {
  for (const size_t threads : {1U, 2U, 8U}) {
    std::vector<int> calls(threads);
    OnThreads(threads, [&](size_t thread) { ++calls[thread]; });
    EXPECT_THAT(calls, testing::Each(1));
  }
}

TEST(OnThreads, TellOneOfSeveralFailures) {
  for (const bool startsMore : {false, true}) {
    const auto fail = [&] {
      std::atomic<int> ready = 0;
      OnThreads(4, [&](size_t thread) {
        if (thread == 1 && startsMore) OnThreads(2, [](size_t) {});
        for (++ready; ready < 4;) PauseProcessor();
        ErrExit(L"once\n");
      });
    };
    EXPECT_ENDS(fail(), 1, "once\n");
    EXPECT_ENDS(ErrExit(L"again\n"), 1, "again\n");
  }
}

TEST(OnThreads, LeaveSignalsToTheFirst) {
  static std::atomic<pthread_t> heardBy;
  heardBy = pthread_t{};
  std::signal(SIGUSR1, [](int) { heardBy = pthread_self(); });
  OnThreads(4, [&](size_t thread) {
    if (thread == 3) kill(getpid(), SIGUSR1);
    while (heardBy == pthread_t{}) PauseProcessor();
  });
  EXPECT_EQ(heardBy, pthread_self());
  std::signal(SIGUSR1, SIG_DFL);
}

TEST(ShareOut, TakesEveryPieceOnceAndNoneAfterAFailure) {
  std::vector<int> taken(1'000);
  ShareOut(3, taken.size(), [&](size_t, size_t piece) { ++taken[piece]; });
  EXPECT_THAT(taken, testing::Each(1));
  ShareOut(3, 0, [&](size_t, size_t) { FAIL(); });

  std::atomic<size_t> late = 0;
  const auto work = [&](size_t, size_t piece) {
    if (piece == 10) throw std::runtime_error("ten");
    late += piece > 10 ? 1 : 0;
  };
  EXPECT_THROW(ShareOut(3, 1'000'000, work), std::runtime_error);
  EXPECT_LT(late, 999'989U);
}

}  // namespace
}  // namespace tabulon
