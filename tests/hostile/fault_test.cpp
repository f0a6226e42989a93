// Whatever call fails, and wherever a signal comes: no silent loss, no file left behind, and the
// scan's name stands for a whole scan at every moment.
//
// A sample of the calls is tried each time, every one with TABULON_FULL set.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <csignal>

#include "fuzz/faults.h"
#include "fuzz/samples.h"
#include "fuzz/sandbox.h"
#include "tests/support/dtlbuild.h"

namespace tabulon {
namespace {

struct Road {
  const char* name;
  ScanKind kind;
  bool compressed;
  std::vector<std::string> args;
  bool damaged = false;
  PassShare share = {};
};

constexpr PassShare kThreeThreads = {.threads = 3, .block = 4096};

// clang-format off
std::vector<Road> Roads() {
  const std::vector<std::string> configuration = {"-cfg", "c.cfg", "-rdir", "r", "-l", "log"};
  return {
      {"CompressedConfiguration", ScanKind::kNfs, true, configuration},
      {"Configuration", ScanKind::kCifs, false, configuration, false, kThreeThreads},
      {"CompressedSummary", ScanKind::kCifs, true, {"-l", "log", "-e", "errors"}},
      {"DamagedSummary", ScanKind::kCifs, true, {"-l", "log"}, true},
      {"CompressedQuery", ScanKind::kNfs, true, {"-l", "log", "-qf", SampleQuery(ScanKind::kNfs)}},
      {"Query", ScanKind::kCifs, false, {"-l", "log", "-qf", SampleQuery(ScanKind::kCifs)}, false,
       kThreeThreads},
  };
}
// clang-format on

std::ostream& operator<<(std::ostream& out, const Road& road) {
  return out << road.name;
}

class Faults : public testing::TestWithParam<Road> {
 protected:
  Faults()
      : plain_(TwinScan(GetParam().kind, 1'500)),
        stored_(GetParam().compressed ? CompressDtl(plain_) : plain_) {
    if (GetParam().damaged) stored_.resize(stored_.size() / 2);
    args_ = GetParam().args;
    args_.insert(args_.end(), {"-dtl", "x.dtl"});
    sound_ = Run({kAnyFileCall | kCallMemory, Mishap::kFails, 0, kNever});
    EXPECT_EQ(sound_.status, GetParam().damaged ? 1 : 0) << sound_.err;
    soundFiles_ = box_.Files();
  }

  Outcome Run(const Fault& fault) {
    box_.Clear();
    WriteFile(box_.dir() / "c.cfg", SampleConfiguration(GetParam().kind));
    WriteFile(box_.dir() / "x.dtl", stored_);
    box_.tuning = {{.runFiles = 500, .gathered = 100, .sorted = 100}, GetParam().share};
    return box_.Run(args_, [&] { ArmFault(fault, calls_.get()); });
  }

  // The scan's name stands for what it stood for before the run, or for what it does after it.
  void ExpectScanAndNothingElse(const FileMap& files, bool temporary) {
    const auto scan = files.find("x.dtl");
    ASSERT_TRUE(scan != files.end());
    EXPECT_TRUE(scan->second == stored_ || scan->second == soundFiles_["x.dtl"]);
    for (const auto& [name, bytes] : files) {
      EXPECT_TRUE(temporary || soundFiles_.contains(name)) << name;
    }
  }

  // Tries the fault at its first call, its second and so on, or at some of them.
  template <class Check>
  void AtEachCall(Fault fault, uint64_t tries, Check check) {
    fault.n = kNever;
    Run(fault);
    const uint64_t calls = *calls_.get();
    for (fault.n = 1; fault.n <= calls; fault.n += SweepStep(calls, tries)) {
      SCOPED_TRACE(GetParam().name + std::string(", call ") + std::to_string(fault.n));
      const Outcome run = Run(fault);
      if (*calls_.get() < fault.n)
        continue;  // threads make some calls more in one run than in another
      check(run, box_.Files());
      if (HasFailure()) return;
    }
  }

  Sandbox box_;
  SharedCount calls_;
  std::string plain_;
  std::string stored_;
  std::vector<std::string> args_;
  Outcome sound_;
  FileMap soundFiles_;
};

TEST_P(Faults, ShortAndInterruptedTransfersAreFinished) {
  for (const uint32_t call : {kCallRead, kCallWrite}) {
    const Outcome run = Run({call, Mishap::kShort, 0, 0});
    EXPECT_EQ(run.status, sound_.status) << run.err;
    EXPECT_EQ(Differences(box_.Files(), soundFiles_), "");
    AtEachCall({call, Mishap::kFails, EINTR}, 4, [&](const Outcome& interrupted, auto files) {
      EXPECT_EQ(interrupted.status, sound_.status) << interrupted.err;
      EXPECT_EQ(Differences(files, soundFiles_), "");
    });
  }
}

TEST_P(Faults, FailuresAreTold) {
  const std::pair<uint32_t, int> rows[] = {{kCallOpen, EMFILE},
                                           {kCallRead, EIO},
                                           {kCallWrite, ENOSPC},
                                           {kCallSync | kCallClose, EIO},
                                           {kCallName, EACCES}};
  for (const auto& [kind, errnum] : rows) {
    AtEachCall({kind, Mishap::kFails, errnum}, 4, [&](const Outcome& run, auto files) {
      const auto log = files.find("errors");
      const bool inLog = run.status == 1 && log != files.end() && !log->second.empty();
      // What could not be written was standard error itself.
      const bool mute = run.status == 1 && kind == kCallWrite &&
                        (sound_.Told().starts_with(run.Told()) || GetParam().damaged);
      EXPECT_TRUE(run.Clean() || inLog || mute) << run.status << ' ' << run.signal << run.err;
      ExpectScanAndNothingElse(files, kind == kCallName);
      // A query may leave the scan compressed.
      if (files.contains("x.dtl")) files["x.dtl"] = soundFiles_["x.dtl"];
      if (!run.Clean() && !inLog) {
        EXPECT_EQ(Differences(files, soundFiles_), "");
      }
      if (run.status == 0 && kind != kCallName && run.out == sound_.out) {
        EXPECT_EQ(Differences(files, soundFiles_), "") << "errno " << errnum;
      }
    });
  }
}

TEST_P(Faults, MemoryThatIsRefusedEndsTheRun) {
  AtEachCall({kCallMemory, Mishap::kFails, ENOMEM}, 12, [&](const Outcome& run, auto files) {
    EXPECT_EQ(run.status, 1);
    // Number 12 is told of a file that cannot be mapped.
    EXPECT_THAT(run.err, testing::ContainsRegex("Insufficient memory|[(]p12[)]"));
    ExpectScanAndNothingElse(files, false);
  });
}

TEST_P(Faults, SignalsLoseNothing) {
  for (const int signal : {SIGKILL, SIGTERM, SIGINT}) {
    for (const Mishap when : {Mishap::kKilledBefore, Mishap::kKilledAfter}) {
      AtEachCall({kAnyFileCall, when, signal}, 4, [&](const Outcome& run, auto files) {
        EXPECT_EQ(run.signal, signal);
        ExpectScanAndNothingElse(files, signal == SIGKILL);
      });
    }
  }
}

TEST(FaultMessages, ComeFromTheCallsTheyAreAbout) {
  const std::vector<std::string> duplicates = {"-cfg", "d.cfg", "-rdir", "r"};
  const DupLimits spilling = {.gathered = 100}, sorting = {.sorted = 100};
  // clang-format off
  const struct {
    bool compressed; std::vector<std::string> args; uint32_t call; std::string message;  // an expression
    DupLimits limits = {};
  } rows[] = {
      {true, {}, kCallOpen, "Unable to open scan detail file 'x.dtl'"},
      {true, {}, kCallWrite, "Error occurred during decompression of 'x.dtl'\nCould not write temp"},
      {false, {}, kCallOpen, "Unable to create temporary file '"},
      {false, {}, kCallRead, "^[^\n]+\n'x.dtl' is not a valid Trawlix detail log file\n$"},
      {false, {}, kCallRead, "Error reading scan detail file\n  .p5"},
      {false, {"-z", "-cfg", "d.cfg"}, kCallOpen, "Unable to create duplicate tree temp file\n"},
      {false, {"-z", "-cfg", "d.cfg"}, kCallWrite, "Error writing 'dup.*tmp'"},
      {false, duplicates, kCallOpen, "Unable to create duplicate tree temp file\n", spilling},
      {false, duplicates, kCallRead, "Error reading '.*/dups", spilling},
      {false, duplicates, kCallWrite, "Error writing '.*/dups", spilling},
      {false, duplicates, kCallWrite, "Error writing '.*/dupm", sorting},
      {false, duplicates, kCallRead, "Error reading '.*/dupm", sorting},
  };
  // clang-format on
  const std::string plain = TwinScan(ScanKind::kCifs, 1'500);
  Sandbox box;
  SharedCount calls;
  for (const auto& row : rows) {
    std::vector<std::string> args = row.args;
    args.insert(args.end(), {"-dtl", "x.dtl"});
    bool found = false;
    bool reached = true;
    for (Fault fault{row.call, Mishap::kFails, EIO, 1}; reached && !found; ++fault.n) {
      box.Clear();
      WriteFile(box.dir() / "x.dtl", row.compressed ? CompressDtl(plain) : plain);
      WriteFile(box.dir() / "d.cfg", "[report]\ntype=duplicates\nreportfile=d\n");
      box.tuning.dupLimits = row.limits;
      const Outcome run = box.Run(args, [&] { ArmFault(fault, calls.get()); });
      reached = *calls.get() >= fault.n;
      found = run.status == 1 && testing::Value(run.err, testing::ContainsRegex(row.message));
    }
    EXPECT_TRUE(found) << row.message;
  }
}

INSTANTIATE_TEST_SUITE_P(AllRoads, Faults, testing::ValuesIn(Roads()),
                         [](const auto& row) { return row.param.name; });

}  // namespace
}  // namespace tabulon
