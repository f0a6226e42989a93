// No cost grows faster than its input: the instructions of whole runs (valgrind) on inputs of a
// size, four times it, and sixteen times. Where the cost is linear, the second step takes four
// times what the first took, with sorting a little more; where it is quadratic, sixteen times.
//
// Runs when TABULON_COUNT is set, on a build without sanitizers: ./scripts/test --full does so.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <functional>
#include <regex>

#include "tests/support.h"
#include "tests/support/dtlbuild.h"

namespace tabulon {
namespace {

constexpr size_t kUsualStep = 4;
// The second step may take so many times what the first took, as a power of the step: 1 is linear,
// 2 quadratic.
constexpr double kMostGrowth = 1.4;
constexpr double kNoise = 0.02;

// A run on something of which there are `n`.
struct Job {
  ScanSpec scan = {.records = {DirectoryRecord("/d"), FileRecord("a.txt", {.size = 7})}};
  std::string config = {};  // none: a query or the summary
  std::vector<std::string> args = {};
  bool compressed = false;
};

using MakeJob = std::function<Job(size_t n)>;

struct Row {
  const char* name;
  size_t least;  // the smallest size
  MakeJob make;
  size_t step = kUsualStep;
};

std::ostream& operator<<(std::ostream& out, const Row& row) {
  return out << row.name;
}

std::string Number(size_t n) {
  return std::to_string(n);
}

// `n` texts in a row, each made from its number.
std::string Repeated(size_t n, const std::function<std::string(size_t)>& make) {
  std::string all;
  for (size_t i = 0; i < n; ++i) all += make(i);
  return all;
}
std::string Repeated(size_t n, const std::string& text) {
  return Repeated(n, [&](size_t) { return text; });
}

std::string Report(const std::string& lines, size_t number = 0) {
  return "[report]\n" + lines + "reportfile=r" + Number(number) + "\n";
}

const std::string kEveryKind = Report("type=summary\n", 1) +
                               Report("type=custom\nnameform=fullpath\nshowlink=yes\n", 2) +
                               Report("type=custom\n", 3) + Report("type=custom\noutput=csv\n", 4) +
                               Report("type=filetypes\nextlen=9\n", 5) +
                               Report("type=duplicates\n", 6) + Report("type=totals\n", 7);

using MakeRecord = std::function<RecordSpec(uint32_t number)>;

ScanSpec Scan(size_t n, const MakeRecord& make) {
  ScanSpec scan{.records = {DirectoryRecord("/d")}};
  for (uint32_t i = 0; i < n; ++i) scan.records.push_back(make(i));
  return scan;
}
RecordSpec PlainFile(uint32_t i) {
  return FileRecord("f" + Number(i) + ".txt", {.size = i});
}

// A run on `n` records.
MakeJob Records(const MakeRecord& make, const std::string& config,
                const std::vector<std::string>& args = {}) {
  return [=](size_t n) { return Job{Scan(n, make), config, args}; };
}
// A run on `records` records, in each of which something is `n` long.
MakeJob Lengths(size_t records, RecordSpec (*make)(size_t n, uint32_t number),
                const std::string& config, const std::vector<std::string>& args = {}) {
  return [=](size_t n) {
    return Job{Scan(records, [&](uint32_t i) { return make(n, i); }), config, args};
  };
}
// A run with a query of `n` parts.
MakeJob InQuery(std::string (*make)(size_t n)) {
  return [=](size_t n) { return Job{Scan(200, PlainFile), "", {"-q", make(n)}}; };
}

// A list in a configuration, on as many lines as it needs: its items, and a last one.
std::string List(size_t n, const std::string& last,
                 const std::function<std::string(size_t)>& item) {
  return Repeated(n, [&](size_t i) { return item(i) + (i % 8 == 7 ? ",_\n" : ","); }) + last + "\n";
}

// A Windows share with so many accounts, each in a domain of its own and with a descriptor.
Job Accounts(size_t n) {
  ScanSpec scan{.kind = ScanKind::kCifs, .rootPath = "C:\\"};
  for (uint32_t i = 0; i < n; ++i) {
    scan.domains.push_back("D" + Number(i));
    scan.descriptors.push_back("descriptor" + Number(i));
    scan.sids.push_back({.sid = BinarySid(5, {i}),
                         .name = "account" + Number(n - i),
                         .domain = i,
                         .firstCount = 1});
    scan.records.push_back(FileRecord("f" + Number(i), {.flags = i}));
  }
  return {scan, Report("type=siduse\n", 1) + Report("type=custom\noutput=csv\n", 2)};
}

Job Streams(size_t n) {
  std::vector<StreamSpec> streams;
  for (size_t i = 0; i < n; ++i) streams.push_back({":s" + Number(i) + ":$DATA", i});
  return {{.kind = ScanKind::kCifs, .records = {WithStreams(FileRecord("a"), streams)}},
          kEveryKind,
          {"-adsfull"}};
}

Job ShortNames(size_t n) {
  Job job{Scan(n, [](uint32_t i) { return FileRecord("F" + Number(i) + "~1.TXT"); }), kEveryKind};
  job.scan.kind = ScanKind::kCifs;
  return job;
}

Job Categories(size_t n) {
  Job job{.config = Report("type=custom\n")};
  for (size_t i = 0; i < n; ++i) job.args.insert(job.args.end(), {"-cat", "c" + Number(i)});
  return job;
}

// clang-format off
const Row kRows[] = {
    {"Files", 1'000, Records(PlainFile, kEveryKind)},
    {"CompressedScan", 1'000,
     [](size_t n) { return Job{.scan = Scan(n, PlainFile), .compressed = true}; }},
    {"QueriedFiles", 1'000, Records(PlainFile, "", {"-qf", "name matches f*1.txt"})},
    {"Directories", 1'000, Records([](uint32_t i) {
       return i % 2 == 0 ? DirectoryRecord("/d" + Number(i)) : FileRecord("a.txt", {.size = i / 4});
     }, kEveryKind)},
    {"Extensions", 1'000,
     Records([](uint32_t i) { return FileRecord("a." + Number(i)); },
             Report("type=filetypes\nextlen=9\n"))},
    {"LongExtensions", 1'000,
     Records([](uint32_t i) { return FileRecord("a.extension\xC3\xA9" + Number(i)); },
             Report("type=filetypes\nextlen=30\n"))},
    {"Owners", 1'000,
     Records([](uint32_t i) { return FileRecord("a", {.uid = i << 12, .gid = ~i}); },
             Report("type=uidtotals\n", 1) + Report("type=gidtotals\n", 2))},
    {"Pairs", 1'000,
     Records([](uint32_t i) { return FileRecord("a", {.size = i / 2}); }, Report("type=duplicates\n"))},
    {"OneGroup", 1'000,
     Records([](uint32_t) { return FileRecord("a"); }, Report("type=duplicates\n"))},
    {"Accounts", 400, Accounts},
    {"Streams", 300, Streams},
    {"ShortNames", 300, ShortNames},

    {"PathDepth", 1'000, Lengths(60, [](size_t n, uint32_t i) {
       return i % 2 == 0 ? DirectoryRecord(Repeated(n, "/d")) : FileRecord("a.txt");
     }, kEveryKind)},
    {"NameAndTargetLength", 1'000, Lengths(60, [](size_t n, uint32_t) {
       return LinkRecord(std::string(n, 'n') + ".txt", std::string(n, 't'));
     }, kEveryKind)},
    {"OtherNameLength", 1'000,
     Lengths(10, [](size_t n, uint32_t) { return FileRecord(Repeated(n, "\xC3\xA9") + ".t"); },
             kEveryKind)},
    {"ExtensionLength", 1'000,
     Lengths(30, [](size_t n, uint32_t i) { return FileRecord("a." + std::string(n + i % 9, 'x')); },
             Report("type=filetypes\nextlen=65533\n"))},
    {"MatchedNameLength", 1'000,
     Lengths(100, [](size_t n, uint32_t) { return FileRecord(std::string(n, 'a')); }, "",
             {"-q", "name matches *ab*ab [or] name matches *a*a*a*b"})},

    {"FilterTests", 500, InQuery([](size_t n) { return Repeated(n, "size eq 3 [or] ") + "name is x"; })},
    {"FilterPatterns", 50,
     InQuery([](size_t n) { return Repeated(n, "name matches *a*z [or] ") + "path matches ~x~"; })},
    {"FilterExtensions", 100, InQuery([](size_t n) {
       const auto test = [](size_t i) { return "name matches *.e" + Number(i) + " [or] "; };
       return Repeated(n, test) + "name is x";
     })},
    {"Wildcards", 30, [](size_t n) {
       return Job{Scan(200, [](uint32_t) { return FileRecord(std::string(9'000, 'a') + "c"); }), "",
                  {"-q", "name matches " + Repeated(n, "*a") + "*b?"}};
     }, 2},

    {"Reports", 30, [](size_t n) {
       const auto two = [](size_t i) {
         return Report("type=custom\ntotals=yes\n", 2 * i) + Report("type=uidtotals\n", 2 * i + 1);
       };
       return Job{.config = Repeated(n, two) + Report("type=totals\n", 2 * n)};
     }},
    {"Classes", 150, [](size_t n) {
       const auto line = [](size_t i) { return "C" + Number(i) + "=a" + Number(i) + "\n"; };
       return Job{.config = "[classes]\n" + Repeated(n, line) +
                            Report("type=custom\nfilter=class is C3\n")};
     }},
    {"ClassPatterns", 12, [](size_t n) {
       const auto item = [](size_t i) { return "e" + Number(i + 10) + (i % 12 == 11 ? "*" : ""); };
       return Job{Scan(2'000, PlainFile),
                  "[classes]\nC=" + List(n, "x", item) + Report("type=custom\nselect=class is C\n")};
     }, 2},
    {"Bands", 12, [](size_t n) {
       const auto size = [](size_t i) { return Number(i + 10); };
       const auto date = [](size_t i) { return Number(198001 + i / 2 * 100 + i % 2) + "01"; };
       return Job{Scan(5'000, PlainFile),
                  "[parameters]\nfilesizebands=" + List(n, "1000", size) +
                      "mdatebands=" + List(n, "20300101", date) + Report("type=summary\n")};
     }, 2},
    {"Categories", 150, Categories},
    {"EmptyLines", 6'000,
     [](size_t n) { return Job{.config = Report("type=totals\n") + std::string(n, '\n')}; }},
};
// clang-format on

class Complexity : public testing::TestWithParam<Row> {
 protected:
  // The instructions of a run; 0 with a failure.
  static double Count(const Job& job) {
    const TempDir dir;
    const std::string plain = BuildDtl(job.scan);
    WriteFile(dir / "x.dtl", job.compressed ? CompressDtl(plain) : plain);
    std::vector<std::string> command = {
        "/usr/bin/env",  "valgrind", "--tool=callgrind", "--callgrind-out-file=/dev/null",
        TABULON_PROGRAM, "-dtl",     dir / "x.dtl"};
    if (!job.config.empty()) {
      WriteFile(dir / "c.cfg", job.config);
      command.insert(command.end(), {"-cfg", dir / "c.cfg", "-rdir", dir / "r"});
    }
    command.insert(command.end(), job.args.begin(), job.args.end());
    // A copy that is one instruction for each byte, as glibc makes large ones, is not counted so.
    const RunResult result = RunProgram(
        command, {.env = {{"GLIBC_TUNABLES", "glibc.cpu.x86_rep_movsb_threshold=1000000000"}}});
    EXPECT_EQ(result.status, 0) << result.err.substr(0, 2'000);
    std::smatch counted;
    if (!std::regex_search(result.err, counted, std::regex("Collected : ([0-9]+)"))) {
      ADD_FAILURE() << result.err.substr(0, 2'000);
      return 0;
    }
    return std::stod(counted[1]);
  }
};

TEST_P(Complexity, IsLinear) {
#if defined(__SANITIZE_ADDRESS__)
  GTEST_SKIP() << "valgrind does not run a program with sanitizers";
#endif
  if (std::getenv("TABULON_COUNT") == nullptr) GTEST_SKIP() << "TABULON_COUNT is not set";
  if (std::system("valgrind --version >/dev/null 2>&1") != 0) GTEST_SKIP() << "no valgrind";
  const Row& row = GetParam();
  double counts[3];
  size_t n = row.least;
  for (double& count : counts) {
    count = Count(row.make(n));
    n *= row.step;
  }
  const double first = counts[1] - counts[0];
  const double second = counts[2] - counts[1];
  std::printf("%.0f, %.0f and %.0f instructions: the second step is %.2f times the first\n",
              counts[0], counts[1], counts[2], second / first);
  // A first step that is lost among what every run costs tells nothing of the second.
  EXPECT_LT(second, std::pow(row.step, kMostGrowth) * std::max(first, counts[0] * kNoise));
}

INSTANTIATE_TEST_SUITE_P(Costs, Complexity, testing::ValuesIn(kRows),
                         [](const auto& row) { return std::string(row.param.name); });

}  // namespace
}  // namespace tabulon
