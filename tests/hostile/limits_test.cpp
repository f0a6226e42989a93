// Full disks, closed pipes, terminals, hostile text and large numbers of things.
#include <gmock/gmock.h>
#include <sys/resource.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>

#include "fuzz/faults.h"
#include "fuzz/samples.h"
#include "fuzz/sandbox.h"
#include "reports/dupgroups.h"
#include "tests/support/dtlbuild.h"
#include "tests/terminal.h"

namespace tabulon {
namespace {

using testing::HasSubstr;
using testing::Not;

const Sample& Cifs() {
  return Samples()[2];
}

class Limits : public testing::Test {
 protected:
  Limits() { Put("x.dtl", Cifs().bytes); }

  void Put(const std::string& name, const std::string& bytes) {
    WriteFile(box_.dir() / name, bytes);
  }
  std::string Get(const std::string& name) { return ReadFile(box_.dir() / name); }
  Outcome Run(std::vector<std::string> args, const std::function<void()>& prepare = {}) {
    args.insert(args.end(), {"-dtl", "x.dtl"});
    return box_.Run(args, prepare);
  }
  Outcome Configure(const std::string& text, const std::function<void()>& prepare = {}) {
    Put("c.cfg", text);
    return Run({"-cfg", "c.cfg", "-rdir", "r"}, prepare);
  }

  Sandbox box_;
};

const std::string kTwoReports =
    "[report]\ntype=custom\nreportfile=long\nnameform=fullpath\n[report]\ntype=totals\n"
    "reportfile=short\n";

TEST_F(Limits, AFullDiskIsToldAndLeavesTheOldReportAndTheOthersWhole) {
  ASSERT_EQ(Configure(kTwoReports).status, 0);
  const std::string whole = Get("r/short"), old = Get("r/long");
  ASSERT_GT(old.size(), 2 * whole.size());
  const rlim_t room = old.size() - 1;
  const Outcome run = Configure(kTwoReports, [&] { static const FileSizeLimit limit(room); });
  EXPECT_EQ(run.status, 1);
  EXPECT_THAT(run.err, HasSubstr("Error writing 'r/long'\n  (p27) File too large\n"));
  EXPECT_EQ(Get("r/short"), whole);
  EXPECT_EQ(Get("r/long"), old);
}

TEST_F(Limits, AClosedPipeEndsFiltersQuietlyAndReportsNot) {
  const auto closedPipe = [] {
    int ends[2];
    if (pipe(ends) != 0 || close(ends[0]) != 0) _exit(97);
    dup2(ends[1], STDOUT_FILENO);
    std::signal(SIGPIPE, SIG_DFL);
  };
  Put("x.dtl", Samples().back().bytes);
  const Outcome query = Run({"-q", "size ge 0"}, closedPipe);
  EXPECT_EQ(query.signal, SIGPIPE);
  EXPECT_FALSE(query.HasMessage());
  EXPECT_THAT(box_.dir().Entries(), testing::ElementsAre("x.dtl"));
  const Outcome reports = Configure(kTwoReports, closedPipe);
  EXPECT_EQ(reports.status, 1);
  EXPECT_THAT(reports.err, HasSubstr("Error writing 'standard output'\n  (p32) "));
  EXPECT_NE(Get("r/long"), "");
}

TEST_F(Limits, ATerminalSeesNoControlCharacters) {
  REQUIRE_TERMINAL(Terminal());
  const auto shown = [&](const std::vector<std::string>& args) {
    Terminal terminal;
    EXPECT_EQ(Run(args, [&] { dup2(terminal.line(), STDOUT_FILENO); }).status, 0);
    terminal.TakeLine();
    return terminal.Shown();
  };
  const std::vector<std::string> query = {"-qf", "name matches *red*"};
  EXPECT_EQ(shown(query), "C:\\docs\\?[31m?red?.sh\r\n");
  EXPECT_EQ(Run(query).out, "C:\\docs\\\x1B[31m\xC2\x9Bred\x07.sh\n");
  Put("c.cfg", "[report]\ntype=totals\ntitle=a\x7F\n");
  EXPECT_THAT(shown({"-cfg", "c.cfg"}),
              testing::AllOf(HasSubstr("---- a? ----"), Not(HasSubstr("\x7F"))));

  // Every report that shows directories or link targets.
  Put("x.dtl", BuildDtl({.records = {DirectoryRecord("/d\x1B[2J"), FileRecord("a"), FileRecord("b"),
                                     LinkRecord("l\x1B", "\x07")}}));
  for (const std::string form :
       {"duplicates", "custom", "custom\nnameform=fullpath", "custom\nshowlink=yes",
        "custom\nformat=csv", "custom\nformat=csv\nnameform=fullpath"}) {
    Put("c.cfg", "[report]\ntype=" + form + "\n");
    EXPECT_THAT(shown({"-cfg", "c.cfg"}),
                testing::AllOf(HasSubstr("d?[2J"), Not(HasSubstr("\x1B")), Not(HasSubstr("\x07"))))
        << form;
  }
}

TEST_F(Limits, AQvaNameLeadsNowhereElse) {
  const std::pair<const char*, const char*> rows[] = {
      {"tag", "../up"}, {"tag", "/abs"}, {"../up", "host"}, {"/tmp/up", "host"}};
  for (const auto& [tag, host] : rows) {
    Put("x.dtl", BuildDtl({.kind = ScanKind::kCifs,
                           .flags = kHeaderQvaTagged,
                           .rootPath = "C:\\",
                           .host = host,
                           .tag = PaddedTag(tag)}));
    Put("c.cfg", kTwoReports);
    const Outcome run = Run({"-cfg", "c.cfg", "-rdir", "r", "-qva"});
    EXPECT_EQ(run.status, 1);
    EXPECT_THAT(run.err, HasSubstr("Unable to create QVA output file 'r/" + std::string(tag)));
    EXPECT_THAT(box_.dir().Entries(), testing::ElementsAre("c.cfg", "r", "x.dtl"));
  }
}

TEST_F(Limits, LargeNumbersOfThings) {
  const auto repeated = [](const std::string& text, int times) {
    std::string all;
    for (int i = 0; i < times; ++i) all += text;
    return all;
  };
  const std::string report = "[report]\ntype=filetypes\nextlen=4294967294\n";
  // A configuration or a query, and the message.
  const std::pair<std::string, std::string> rows[] = {
      {"[parameters]\n" + std::string(520, 'x'), "Missing '=' in xxx"},
      {repeated(report, 200), ""},
      {std::string(131'000, '('), "Syntax error: (((("},
      {repeated("(size gt 1)[or]", 8'000) + "(size gt 1)", ""},
      {repeated("(", 60'000) + "size gt 1" + repeated(")", 60'000), ""},
      {repeated("(", 60'000) + "size gt 1" + repeated(")", 60'001), "Syntax error: "},
      {"name matches " + repeated("*a", 127), ""},
  };
  for (const auto& [text, message] : rows) {
    const Outcome run = text[0] == '[' ? Configure(text) : Run({"-q", text});
    SCOPED_TRACE(text.substr(0, 40));
    EXPECT_EQ(run.status, message.empty() ? 0 : 1) << run.signal << run.err.substr(0, 200);
    EXPECT_THAT(run.err, HasSubstr(message));
    EXPECT_LT(run.seconds, 2);
  }
}

TEST_F(Limits, ThousandsOfReportsNeedFewDescriptors) {
  constexpr int kReports = 2'000;
  std::string text;
  for (int i = 0; i < kReports; ++i) {
    text += "[report]\ntype=custom\nselect=size ge 0\nreportfile=r" + std::to_string(i) + "\n";
  }
  const Outcome run = Configure(text, [] {
    const rlimit few{64, 64};
    setrlimit(RLIMIT_NOFILE, &few);
  });
  EXPECT_EQ(run.status, 0) << run.err.substr(0, 300);
  const std::string first = Get("r/r0");
  EXPECT_THAT(first, HasSubstr("a.txt"));
  for (int i = 1; i < kReports; ++i) ASSERT_EQ(Get("r/r" + std::to_string(i)), first) << i;
}

// Whether the members of groups beyond 2^31 and 2^32 bytes of their file, most of which is a hole,
// are found.
bool FindsDistantMembers() {
  constexpr uint64_t kBlock = uint64_t{1} << 20;  // members that go to the file at a time
  constexpr uint64_t kBlocks = (uint64_t{1} << 32) / sizeof(DupMember) / kBlock + 2;
  const uint64_t looked[] = {kBlock, (uint64_t{1} << 31) / sizeof(DupMember),
                             (uint64_t{1} << 32) / sizeof(DupMember), (kBlocks - 1) * kBlock,
                             kBlocks * kBlock};
  const bool full = std::getenv("TABULON_FULL") != nullptr;
  SharedCount calls;
  DupMembers members(kBlock);
  for (uint64_t i = 0; i < (full ? kBlocks : 2) * kBlock + 2; ++i) {
    if (i % kBlock == 0) {  // the block before goes to the file now
      const bool kept = std::any_of(std::begin(looked), std::end(looked), [&](uint64_t at) {
        return at + 1 >= i - kBlock && at - 1 <= i;
      });
      ArmFault({kept ? 0 : kCallWrite, Mishap::kLeavesHole}, calls.get());
    }
    const DupMember member(i, i / 2, 0);
    members.Add({&member, 1});
  }
  for (const uint64_t at : looked) {
    std::vector<DupMember> found;
    if (at >= members.count()) continue;
    members.Read(at - 1, 3, found);
    for (uint64_t i = 0; i < 3; ++i) {
      if (found.size() != 3 || found[i].position() != at - 1 + i) return false;
    }
  }
  return true;
}

TEST(LargeOffsetsDeathTest, LeadToTheRightMembers) {
  EXPECT_EXIT(std::exit(FindsDistantMembers() ? 0 : 1), testing::ExitedWithCode(0), "");
}

TEST_F(Limits, InflatingTakesLittleMemoryWhateverTheRatio) {
  const std::string stored = CompressDtl(BuildDtl({.tail = std::string(64 << 20, '\0')}));
  ASSERT_LT(stored.size(), 100'000U);
  Put("x.dtl", stored);
  const Outcome run = Run({});
  EXPECT_EQ(run.status, 0);
  EXPECT_LT(run.peakHeap, 16U << 20);
  EXPECT_EQ(Get("x.dtl").size(), stored.size());
}

// Tables that claim 4,294,967,295 entries, and are full of the smallest ones, or of nothing whole.
TEST_F(Limits, TablesTakeNoMemoryThatTheFileDoesNotHoldAndNoneUnlessAskedFor) {
  constexpr uint32_t kAll = 0xFFFFFFFF;
  constexpr size_t kZeros = 4 << 20;
  struct Row {
    ScanKind kind;
    std::vector<uint32_t> words;  // before the zeros
    size_t times;                 // what accounts may take of memory for a byte of the file
  };
  const Row rows[] = {{ScanKind::kCifs, {0}, 0},
                      {ScanKind::kCifs, {kAll}, 0},
                      {ScanKind::kCifs, {kAll, kAll}, 0},
                      {ScanKind::kCifs, {0, kAll}, 4},
                      {ScanKind::kCifs, {0, kAll, kAll}, 0},
                      {ScanKind::kCifs, {0, 0, kAll}, 4},
                      {ScanKind::kNfs, {0}, 0},
                      {ScanKind::kNfs, {kAll}, 0}};
  uint64_t sound[2] = {};
  for (const Row& row : rows) {
    const bool cifs = row.kind == ScanKind::kCifs;
    ScanSpec spec{.kind = row.kind};
    const size_t at = BuildDtl(spec).size();
    spec.adjust = [at](LogHeader& header, LogRoot&) {
      header.securitySection = header.idSection = at;
    };
    std::string bytes = BuildDtl(spec);
    for (const uint32_t word : row.words) Append32(bytes, word);
    Put("x.dtl", bytes.append(kZeros, '\0'));
    for (const bool accounts : {false, true}) {
      const Outcome run =
          Configure(accounts && cifs ? "[report]\ntype=siduse\n" : "[report]\ntype=summary\n");
      EXPECT_EQ(run.status, 0) << run.err;
      if (row.words == std::vector<uint32_t>{0}) sound[accounts] = run.peakHeap;
      const uint64_t allowed = accounts ? row.times * bytes.size() + (1 << 20) : 1 << 14;
      EXPECT_LE(run.peakHeap, sound[accounts] + allowed) << testing::PrintToString(row.words);
    }
  }
}

}  // namespace
}  // namespace tabulon
