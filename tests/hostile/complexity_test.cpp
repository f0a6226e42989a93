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

struct Row {
  const char* name;
  size_t least;  // the smallest size
  std::function<Job(size_t n)> make;
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

ScanSpec Scan(size_t n, const std::function<RecordSpec(uint32_t)>& make) {
  ScanSpec scan{.records = {DirectoryRecord("/d")}};
  for (uint32_t i = 0; i < n; ++i) scan.records.push_back(make(i));
  return scan;
}
RecordSpec PlainFile(uint32_t i) {
  return FileRecord("f" + Number(i) + ".txt", {.size = i});
}

ScanSpec Directories(size_t n) {
  ScanSpec scan;
  for (size_t i = 0; i < n; ++i) {
    scan.records.push_back(DirectoryRecord("/d" + Number(i)));
    scan.records.push_back(FileRecord("a.txt", {.size = i / 2}));
  }
  return scan;
}

// A Windows share with so many accounts, each in a domain of its own and with a descriptor.
ScanSpec Accounts(size_t n) {
  ScanSpec scan{.kind = ScanKind::kCifs, .rootPath = "C:\\"};
  for (uint32_t i = 0; i < n; ++i) {
    const auto low = static_cast<unsigned char>(i);
    scan.domains.push_back("D" + Number(i));
    scan.descriptors.push_back("descriptor" + Number(i));
    scan.sids.push_back({.sid = std::string("\1\1\0\0\0\0\0\5", 8) + static_cast<char>(low) +
                                static_cast<char>(i >> 8) + std::string(2, '\0'),
                         .name = "account" + Number(n - i),
                         .domain = i,
                         .firstCount = 1});
    scan.records.push_back(FileRecord("f" + Number(i), {.flags = i}));
  }
  return scan;
}

const Row kRows[] = {
    {"Files", 1'000,
     [](size_t n) {
       return Job{Scan(n, PlainFile), kEveryKind};
     }},
    {"CompressedScan", 1'000,
     [](size_t n) { return Job{.scan = Scan(n, PlainFile), .compressed = true}; }},
    {"QueriedFiles", 1'000,
     [](size_t n) {
       return Job{Scan(n, PlainFile), "", {"-qf", "name matches f*1.txt"}};
     }},
    {"Extensions", 1'000,
     [](size_t n) {
       const auto make = [](uint32_t i) { return FileRecord("a." + Number(i)); };
       return Job{Scan(n, make), Report("type=filetypes\nextlen=9\n")};
     }},
    {"LongExtensions", 1'000,
     [](size_t n) {
       const auto make = [](uint32_t i) { return FileRecord("a.extension\xC3\xA9" + Number(i)); };
       return Job{Scan(n, make), Report("type=filetypes\nextlen=30\n")};
     }},
    {"Owners", 1'000,
     [](size_t n) {
       const auto make = [](uint32_t i) { return FileRecord("a", {.uid = i << 12, .gid = ~i}); };
       return Job{Scan(n, make), Report("type=uidtotals\n", 1) + Report("type=gidtotals\n", 2)};
     }},
    {"NamedOwners", 500,
     [](size_t n) {
       ScanSpec scan = Scan(n, [](uint32_t i) { return FileRecord("a", {.uid = i, .gid = i}); });
       for (uint32_t i = 0; i < n; ++i) {
         scan.ids.push_back({.id = i, .kind = kIdUser, .name = "u" + Number(i)});
         scan.ids.push_back({.id = i, .kind = kIdGroup, .name = "g" + Number(i)});
       }
       return Job{scan, Report("type=custom\noutput=csv\n")};
     }},
    {"Directories", 500,
     [](size_t n) {
       return Job{Directories(n), kEveryKind};
     }},
    {"Pairs", 500,
     [](size_t n) {
       const auto make = [](uint32_t i) { return FileRecord("a", {.size = i / 2}); };
       return Job{Scan(2 * n, make), Report("type=duplicates\n")};
     }},
    {"OneGroup", 1'000,
     [](size_t n) {
       return Job{Scan(n, [](uint32_t) { return FileRecord("a"); }), Report("type=duplicates\n")};
     }},
    {"Listings", 30,
     [](size_t n) {
       return Job{.config = Repeated(n, [](size_t i) { return Report("type=custom\n", i); })};
     }},
    {"Totals", 30,
     [](size_t n) {
       return Job{
           .config =
               Repeated(n, [](size_t i) { return Report("type=uidtotals\ntotals=yes\n", i); }) +
               Report("type=totals\n", n)};
     }},
    {"FilterTests", 100,
     [](size_t n) {
       return Job{Scan(200, PlainFile), "", {"-q", Repeated(n, "size eq 3 [or] ") + "name is x"}};
     }},
    {"FilterPatterns", 50,
     [](size_t n) {
       return Job{Scan(200, PlainFile),
                  "",
                  {"-q", Repeated(n, "name matches *a*z [or] ") + "path matches ~x~"}};
     }},
    {"FilterExtensions", 100,
     [](size_t n) {
       const auto test = [](size_t i) { return "name matches *.e" + Number(i) + " [or] "; };
       return Job{Scan(200, PlainFile), "", {"-q", Repeated(n, test) + "name is x"}};
     }},
    {"Parentheses", 1'000,
     [](size_t n) {
       return Job{.args = {"-q", Repeated(n, "(") + "size gt 1" + Repeated(n, ")")}};
     }},
    {"ClassPatterns", 12,
     [](size_t n) {
       const auto item = [](size_t i) {
         return "e" + Number(i + 10) + (i % 12 == 11 ? "*,_\n" : ",");
       };
       return Job{Scan(2'000, PlainFile), "[classes]\nC=" + Repeated(n, item) + "x\n" +
                                              Report("type=custom\nselect=class is C\n")};
     },
     2},
    {"Classes", 150,
     [](size_t n) {
       return Job{
           .config =
               "[classes]\n" +
               Repeated(n, [](size_t i) { return "C" + Number(i) + "=a" + Number(i) + "\n"; }) +
               Report("type=custom\nfilter=class is C3\n")};
     }},
    {"Categories", 150,
     [](size_t n) {
       Job job{.config = Report("type=custom\n")};
       for (size_t i = 0; i < n; ++i) job.args.insert(job.args.end(), {"-cat", "c" + Number(i)});
       return job;
     }},
    {"EmptyLines", 6'000,
     [](size_t n) { return Job{.config = Report("type=totals\n") + std::string(n, '\n')}; }},
    {"Bands", 24,
     [](size_t n) {
       const auto size = [](size_t i) { return Number(i + 10) + (i % 12 == 11 ? ",_\n" : ","); };
       return Job{Scan(5'000, PlainFile), "[parameters]\nfilesizebands=" + Repeated(n, size) +
                                              "1000\n" + Report("type=summary\n")};
     },
     2},
    {"DateBands", 12,
     [](size_t n) {
       const auto date = [](size_t i) {
         return Number(1980 + i / 2) + (i % 2 == 0 ? "0101" : "0701") + (i % 8 == 7 ? ",_\n" : ",");
       };
       return Job{Scan(5'000, PlainFile), "[parameters]\nmdatebands=" + Repeated(n, date) +
                                              "20300101\n" + Report("type=summary\n")};
     },
     2},
    {"PathDepth", 1'000,
     [](size_t n) {
       ScanSpec scan;
       for (int i = 0; i < 30; ++i) {
         scan.records.push_back(DirectoryRecord(Repeated(n, "/d")));
         scan.records.push_back(FileRecord("a.txt"));
       }
       return Job{scan, kEveryKind};
     }},
    {"NameLength", 1'000,
     [](size_t n) {
       const auto make = [&](uint32_t) { return FileRecord(std::string(n, 'n') + ".txt"); };
       return Job{Scan(60, make), kEveryKind};
     }},
    {"OtherNameLength", 1'000,
     [](size_t n) {
       const auto make = [&](uint32_t) { return FileRecord(Repeated(n, "\xC3\xA9") + ".t"); };
       return Job{Scan(10, make), kEveryKind};
     }},
    {"ExtensionLength", 1'000,
     [](size_t n) {
       const auto make = [&](uint32_t i) { return FileRecord("a." + std::string(n + i % 9, 'x')); };
       return Job{Scan(30, make), Report("type=filetypes\nextlen=65533\n")};
     }},
    {"TargetLength", 1'000,
     [](size_t n) {
       const auto make = [&](uint32_t) { return LinkRecord("a", std::string(n, 't')); };
       return Job{Scan(60, make), kEveryKind};
     }},
    {"MatchedNameLength", 1'000,
     [](size_t n) {
       const auto make = [&](uint32_t) { return FileRecord(std::string(n, 'a')); };
       return Job{Scan(100, make), "", {"-q", "name matches *ab*ab [or] name matches *a*a*a*b"}};
     }},
    {"Wildcards", 30,
     [](size_t n) {
       const auto make = [&](uint32_t) { return FileRecord(std::string(9'000, 'a') + "c"); };
       return Job{Scan(200, make), "", {"-q", "name matches " + Repeated(n, "*a") + "*b?"}};
     },
     2},
    {"Streams", 300,
     [](size_t n) {
       std::vector<StreamSpec> streams;
       for (size_t i = 0; i < n; ++i) streams.push_back({":s" + Number(i) + ":$DATA", i});
       return Job{{.kind = ScanKind::kCifs, .records = {WithStreams(FileRecord("a"), streams)}},
                  kEveryKind,
                  {"-adsfull"}};
     }},
    {"Accounts", 400,
     [](size_t n) {
       return Job{Accounts(n), Report("type=siduse\n", 1) + Report("type=custom\noutput=csv\n", 2)};
     }},
    {"ShortNames", 300,
     [](size_t n) {
       ScanSpec scan{.kind = ScanKind::kCifs};
       for (size_t i = 0; i < n; ++i)
         scan.records.push_back(FileRecord("F" + Number(i) + "~1.TXT"));
       return Job{scan, kEveryKind};
     }},
};

class Complexity : public testing::TestWithParam<Row> {
 protected:
  // The instructions of a run; 0 with a failure.
  static double Count(const Job& job) {
    const TempDir dir;
    if (job.compressed) {
      WriteFile(dir / "x.dtl", CompressDtl(BuildDtl(job.scan)));
    } else {
      WriteDtl(dir / "x.dtl", job.scan);
    }
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
