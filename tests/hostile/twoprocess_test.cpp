// Somebody else is at work on the scan while a run reads it: a second run, a writer that puts
// another scan under its name, a truncation. The run is a process of its own that stops before or
// after one of its calls; the other one does its work then, and the run goes on.
//
// A sample of the calls is tried each time, every one with TABULON_FULL set.
#include <gmock/gmock.h>
#include <sys/wait.h>

#include <csignal>
#include <ctime>

#include "fuzz/faults.h"
#include "fuzz/samples.h"
#include "fuzz/sandbox.h"
#include "tests/support/dtlbuild.h"

namespace tabulon {
namespace {

constexpr uint32_t kEveryCall = kAnyFileCall | kCallLock | kCallLook;

struct Road {
  const char* name;
  bool compressed;
  std::vector<std::string> args;  // {} is put before the names of the run's own files
};

std::ostream& operator<<(std::ostream& out, const Road& road) {
  return out << road.name;
}

// How a run ended, and the files that it made.
struct Answer {
  int status = 0;
  FileMap files;
  bool operator==(const Answer&) const = default;
};

class TwoProcesses : public testing::TestWithParam<Road> {
 protected:
  TwoProcesses()
      : first_(Stored(TwinScan(ScanKind::kNfs, 700))), second_(TwinScan(ScanKind::kNfs, 300)) {
    sound_ = Alone(first_);
    other_ = Alone(second_);
    cut_ = Alone(first_.substr(0, first_.size() / 2));
    EXPECT_EQ(sound_.status, 0);
    EXPECT_FALSE(sound_ == other_ || sound_ == cut_);
  }

  static std::string Stored(const std::string& plain) {
    return GetParam().compressed ? CompressDtl(plain) : plain;
  }
  // The arguments of a run whose own files begin so.
  std::vector<std::string> Arguments(const std::string& own) const {
    std::vector<std::string> args = GetParam().args;
    for (std::string& arg : args) {
      if (arg.starts_with("{}")) arg = box_.dir() / (own + arg.substr(2));
      if (arg == "c.cfg") arg = box_.dir() / "c.cfg";
    }
    args.insert(args.end(), {"-dtl", box_.dir() / "x.dtl"});
    return args;
  }
  void Prepare(const std::string& scan) {
    box_.Clear();
    WriteFile(box_.dir() / "x.dtl", scan);
    WriteFile(box_.dir() / "c.cfg",
              "[report]\ntype=duplicates\nreportfile=d\n[report]\ntype=custom\nreportfile=c\n");
  }
  std::string Scan() const { return ReadFile(box_.dir() / "x.dtl"); }

  // What the run whose own files begin so has answered.
  Answer AnswerOf(const Outcome& run, const std::string& own) const {
    Answer answer{run.status, {}};
    for (const auto& [name, bytes] : box_.Files()) {
      if (name.starts_with(own)) answer.files[name.substr(own.size())] = bytes;
    }
    return answer;
  }
  Answer Alone(const std::string& scan) {
    Prepare(scan);
    return AnswerOf(box_.Run(Arguments("1")), "1");
  }

  // Runs with `other` at work before or after each call, or some of them.
  template <class Other, class Check>
  void AtEachCall(uint64_t tries, Other other, Check check) {
    for (const Mishap when : {Mishap::kKilledBefore, Mishap::kKilledAfter}) {
      Fault fault{kEveryCall, when, SIGSTOP, kNever};
      Prepare(first_);
      box_.Run(Arguments("1"), [&] { ArmFault(fault, calls_.get()); });
      const uint64_t calls = *calls_.get();
      for (fault.n = 1; fault.n <= calls; fault.n += SweepStep(calls, tries)) {
        SCOPED_TRACE("call " + std::to_string(fault.n) + " of " + std::to_string(calls));
        Prepare(first_);
        bool stopped = false;
        const pid_t run = box_.Start(Arguments("1"), [&] { ArmFault(fault, calls_.get()); });
        const Outcome outcome = box_.Wait(run, [&] {
          stopped = true;
          other(fault.n);
        });
        // A run that ends in the second it began in looks once less: its copy has that name.
        if (!stopped && fault.n == calls) break;
        EXPECT_TRUE(stopped);
        check(outcome, AnswerOf(outcome, "1"));
        const auto temporary = testing::MatchesRegex(".*[.]tmp|tabul.*|sdtem.*|dups.*");
        EXPECT_THAT(box_.dir().Entries(), testing::Each(testing::Not(temporary)));
        if (HasFailure()) return;
      }
    }
  }

  Sandbox box_;
  Sandbox neighbour_;
  SharedCount calls_;
  std::string first_;   // the scan that the run begins with
  std::string second_;  // the one that a writer brings
  Answer sound_, other_, cut_;
};

// Both answer as if they were alone, or tell that the other one's copy has the name of theirs.
TEST_P(TwoProcesses, RunsLeaveEachOtherAlone) {
  pid_t second = 0;
  const auto start = [&](uint64_t call) {
    // Copies are named after the second. Every other time both runs want the same name.
    const std::time_t now = std::time(nullptr);
    while (GetParam().compressed && call % 2 == 0 && std::time(nullptr) == now) usleep(2'000);
    second = neighbour_.Start(Arguments("2"));
    // One that waits for the lock of the first goes on after it.
    siginfo_t ended{};
    for (int i = 0; i < 100 && ended.si_pid == 0; ++i) {
      usleep(2'000);
      waitid(P_PID, static_cast<id_t>(second), &ended, WEXITED | WNOHANG | WNOWAIT);
    }
  };
  AtEachCall(6, start, [&](const Outcome& run, const Answer& answer) {
    const Outcome neighbour = neighbour_.Wait(second);
    const Answer others = AnswerOf(neighbour, "2");
    for (const auto& [outcome, given] : {std::tie(run, answer), std::tie(neighbour, others)}) {
      const bool nameTaken = outcome.status == 1 && GetParam().compressed &&
                             outcome.err.find("Could not write temp file") != std::string::npos;
      EXPECT_TRUE(nameTaken || given == sound_) << outcome.status << outcome.err;
    }
    EXPECT_TRUE(Scan() == first_ || Scan() == TwinScan(ScanKind::kNfs, 700));
  });
}

// The scan that a writer puts there stays, and the answer is that of one of the two scans.
TEST_P(TwoProcesses, AScanThatIsReplacedStays) {
  const auto replace = [&](uint64_t) {
    WriteFile(box_.dir() / "new", second_);
    std::filesystem::rename(box_.dir() / "new", box_.dir() / "x.dtl");
  };
  AtEachCall(12, replace, [&](const Outcome& run, const Answer& answer) {
    EXPECT_TRUE(answer == sound_ || answer == other_) << run.status << run.err;
    EXPECT_TRUE(Scan() == second_);
  });
}

// A scan that is cut while it is read is told of; one that is cut before is a shorter scan.
TEST_P(TwoProcesses, AScanThatIsCutIsTold) {
  const auto cut = [&](uint64_t) {
    std::filesystem::resize_file(box_.dir() / "x.dtl", first_.size() / 2);
  };
  AtEachCall(12, cut, [&](const Outcome& run, const Answer& answer) {
    const auto told = testing::ContainsRegex(
        "was changed while it was read|is not a valid|Error reading scan detail file");
    EXPECT_TRUE((run.status == 1 && testing::Value(run.err, told)) || answer == sound_ ||
                answer == cut_)
        << run.status << run.err;
    EXPECT_EQ(Scan().size(), first_.size() / 2);
  });
}

INSTANTIATE_TEST_SUITE_P(
    AllRoads, TwoProcesses,
    testing::Values(Road{"Query", false, {"-qf", "size ge 0", "-l", "{}l"}},
                    Road{"CompressedQuery", true, {"-qf", "size ge 0", "-l", "{}l"}},
                    Road{"Configuration", false, {"-cfg", "c.cfg", "-rdir", "{}r"}},
                    Road{"CompressedConfiguration", true, {"-cfg", "c.cfg", "-rdir", "{}r"}},
                    Road{"CompressedSummary", true, {"-l", "{}l"}}),
    [](const auto& row) { return std::string(row.param.name); });

}  // namespace
}  // namespace tabulon
