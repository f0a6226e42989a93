#include "reports/filetypes.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <clocale>
#include <map>
#include <random>
#include <set>
#include <sstream>
#include <vector>

#include "batches.h"
#include "capture.h"
#include "reports/reportkinds.h"

namespace tabulon {
namespace {

struct File {
  std::string name;
  uint64_t size = 1;
  uint32_t uid = 0;
};

// TypeLimits that can be copied.
struct Limits {
  size_t entries = TypeLimits().entries;
  size_t spooled = TypeLimits().spooled;
  int64_t memory = TypeLimits().memory;
};

class FileTypes : public testing::Test {
 protected:
  void SetUp() override { ASSERT_NE(std::setlocale(LC_ALL, "C.UTF-8"), nullptr); }

  // The report on these files, in CSV form.
  std::string Text(int kind, const std::vector<File>& files, uint32_t extLength = 4,
                   uint32_t type = kReportFiletypes) {
    ScanSpec spec{.kind = kind == kRootCifs ? ScanKind::kCifs : ScanKind::kNfs};
    for (const File& file : files) {
      spec.records.push_back(FileRecord(file.name, {.size = file.size, .uid = file.uid}));
    }
    const Scan scan = ScanOfKind(kind);
    settings_.csvSep = L',';
    ReportRun run{scan, settings_};
    run.typeLimits.entries = limits_.entries;
    run.typeLimits.spooled = limits_.spooled;
    run.typeLimits.memory = limits_.memory;
    ReportDefinition report;
    report.kind = &KindOf(type);
    report.format = kFormatCsv;
    report.extLength = extLength;
    const auto totals = report.kind->make(report, run);
    ForEachBatch(spec, [&](Pass& pass) { totals->Add(pass); });
    CapturedLog log;
    ReportOutput output(report, settings_);
    totals->Write(output);
    return log.text();
  }

  Settings settings_;
  Limits limits_;
};

TEST_F(FileTypes, TakesTheLastExtensionOfLimitedLength) {
  // clang-format off
  const std::pair<std::string, const char*> rows[] = {
      {"page.html", ".html,1,1\n"}, {"Main.class", ""}, {"a.tar.gz", ".gz,1,1\n"}, {".profile", ""},
      {"..a", ".a,1,1\n"}, {"none", ""}, {"end.", ""}, {"a.x.", ""}, {"", ""}, {".", ""},
      {std::string("cut.c\0pp", 8), ".c,1,1\n"}, {"/srv/v1.2/x", ".2/x,1,1\n"},
      {"caf\xC3\xA9.\xC3\xA9t\xC3\xA9", ".\xC3\xA9t\xC3\xA9,1,1\n"},
      {"\xC3\xA9.\xC3\xA9\xC3\xA9\xC3\xA9\xC3\xA9\xC3\xA9\xC3\xA9", ""},
  };
  // clang-format on
  for (const auto& [name, line] : rows) EXPECT_EQ(Text(kRootNfs, {{name}}), line) << name;
}

// Case is folded on Windows. Sums are in the order of what is shown last, then of the names.
TEST_F(FileTypes, FoldsAndSorts) {
  const std::vector<File> cases = {
      {"A.TXT", 5}, {"b.txt", 6}, {"c.Txt", 7}, {"d.\xC3\x89", 2}, {"e.\xC3\xA9", 1}};
  EXPECT_EQ(Text(kRootNfs, cases), ".Txt,1,7\n.txt,1,6\n.TXT,1,5\n.\xC3\x89,1,2\n.\xC3\xA9,1,1\n");
  EXPECT_EQ(Text(kRootCifs, cases), ".TXT,3,18\n.\xC3\x89,2,3\n");
  const std::vector<File> sums = {{"a.few", 3000}, {"a.many", 10}, {"b.many", 20}, {"a.b", 30},
                                  {"a.tie", 30},   {"c.many", 1},  {"x.two", 15},  {"y.two", 15}};
  EXPECT_EQ(Text(kRootNfs, sums), ".few,1,3000\n.many,3,31\n.two,2,30\n.b,1,30\n.tie,1,30\n");
  settings_.fileIncr = 4096;
  EXPECT_EQ(Text(kRootNfs, sums),
            ".many,3,31,12288\n.two,2,30,8192\n.b,1,30,4096\n.few,1,3000,4096\n.tie,1,30,4096\n");
}

// Thousands of keys, so that the table grows, or has room for a few of them only, and the others
// are sorted in memory or in runs of a temporary file. Extensions are the same after any name.
TEST_F(FileTypes, CountsLikeAMapOverManyKeys) {
  const std::string stems[] = {"name", "n\xC3\xA9", std::string(60, 'n'),
                               std::string(60, 'n') + "\xC3\xA9"};
  const char* const letters[] = {"a", "B", "b", "z", "Z", "7", "~", "\xC3\xA9", "_"};
  std::mt19937 random(2);
  const struct {
    int kind;
    uint32_t longest;
    Limits limits;
  } rows[] = {{kRootNfs, 12, {}},
              {kRootCifs, 12, {}},
              {kRootNfs, 7, {.entries = 300}},
              {kRootCifs, 8, {.entries = 300, .spooled = 40'000}},
              {kRootCifs, 12, {.spooled = 1, .memory = 140'000}},
              {kRootNfs, 12, {.entries = 0, .spooled = 5'000, .memory = 0}}};
  for (const auto& row : rows) {
    const auto asKey = [&](std::string text) {
      if (row.kind == kRootCifs) std::ranges::transform(text, text.begin(), ::tolower);
      return text;
    };
    std::map<std::string, std::pair<int, uint64_t>> counted;
    std::vector<File> files;
    for (int i = 0; i < 20'000; ++i) {
      std::string extension = ".";
      const size_t length = 1 + random() % (random() % 11 + 1);
      for (size_t left = length; left > 0; --left) {
        extension += letters[random() % std::size(letters)];
      }
      files.push_back({stems[random() % std::size(stems)] + extension, random() % 1000});
      if (length > row.longest) continue;
      auto& [count, bytes] = counted[asKey(extension)];
      ++count;
      bytes += files.back().size;
    }
    ASSERT_GT(counted.size(), 3'000U);
    limits_ = row.limits;
    std::set<std::string> expected, found;
    for (const auto& [key, sum] : counted) {
      expected.insert(key + "," + std::to_string(sum.first) + "," + std::to_string(sum.second));
    }
    std::istringstream lines(Text(row.kind, files, row.longest));
    for (std::string line; std::getline(lines, line);) found.insert(asKey(line));
    EXPECT_EQ(found, expected);
  }
}

// User IDs that all want one place of the table, as a hostile scan may choose them.
TEST_F(FileTypes, CountsKeysThatCrowd) {
  std::vector<uint32_t> crowd;
  constexpr uint64_t kMultiplier = 0x9E3779B97F4A7C15;
  for (uint32_t id = 1; crowd.size() < 500; ++id) {
    if (id * kMultiplier >> 50 == 77) crowd.push_back(id);
  }
  std::vector<File> files;
  for (int round = 0; round < 3; ++round) {
    for (const uint32_t id : crowd) files.push_back({"x", 7, id});
  }
  const std::string text = Text(kRootNfs, files, 4, kReportUidTotals);
  EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 500);
  for (const uint32_t id : crowd) {
    EXPECT_NE(text.find(std::to_string(id) + ",3,21\n"), std::string::npos) << id;
  }
}

// Of spellings that count as one, that of the first record is shown, wherever it was counted.
TEST_F(FileTypes, ShowsTheFirstSpelling) {
  for (const size_t entries : {0, 1, 2, 9}) {
    limits_.entries = entries;
    EXPECT_EQ(
        Text(kRootCifs,
             {{"a.Zz", 1}, {"a.LongerThanAWord", 2}, {"a.zZ", 3}, {"a.longerthanaword", 5}}, 20),
        ".LongerThanAWord,2,7\n.Zz,2,4\n");
  }
}

}  // namespace
}  // namespace tabulon
