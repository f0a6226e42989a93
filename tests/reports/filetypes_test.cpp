#include "reports/filetypes.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <clocale>
#include <cstdlib>
#include <map>
#include <memory>
#include <random>
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
  uint32_t gid = 0;
};

class FileTypes : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_NE(std::setlocale(LC_ALL, "C.UTF-8"), nullptr);
    Start(kRootNfs, kReportFiletypes);
  }

  void Start(int kind, uint32_t type, uint32_t extLength = 4, int typeSort = kSortBySize) {
    kind_ = kind;
    scan_ = ScanOfKind(kind);
    settings_.csvSep = L',';
    report_ = std::make_unique<ReportDefinition>();
    report_->kind = &KindOf(type);
    report_->format = kFormatCsv;
    report_->typeSort = typeSort;
    report_->extLength = extLength;
    totals_ = report_->kind->make(*report_, run_);
  }

  void Classify(const std::vector<File>& files) {
    ScanSpec scan{.kind = kind_ == kRootCifs ? ScanKind::kCifs : ScanKind::kNfs};
    for (const File& file : files) {
      scan.records.push_back(
          FileRecord(file.name, {.size = file.size, .uid = file.uid, .gid = file.gid}));
    }
    ForEachBatch(scan, [&](Pass& pass) { totals_->Add(pass); });
  }

  // The text of the report, after classifying these files too.
  std::string Text(const std::vector<File>& files = {}) {
    Classify(files);
    CapturedLog log;
    ReportOutput output(*report_, settings_);
    totals_->Write(output);
    return log.text();
  }

  int kind_ = kRootNfs;
  Scan scan_;
  Settings settings_;
  ReportRun run_{scan_, settings_};
  std::unique_ptr<ReportDefinition> report_;
  std::unique_ptr<ReportAccumulator> totals_;
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
  for (const auto& [name, line] : rows) {
    Start(kRootNfs, kReportFiletypes);
    EXPECT_EQ(Text({{name}}), line) << name;
  }
}

TEST_F(FileTypes, FoldsCaseOnCifsScansOnly) {
  const std::vector<File> files = {
      {"A.TXT", 5}, {"b.txt", 6}, {"c.Txt", 7}, {"d.\xC3\x89", 2}, {"e.\xC3\xA9", 1}};
  EXPECT_EQ(Text(files), ".Txt,1,7\n.txt,1,6\n.TXT,1,5\n.\xC3\x89,1,2\n.\xC3\xA9,1,1\n");
  Start(kRootCifs, kReportFiletypes);
  EXPECT_EQ(Text(files), ".TXT,3,18\n.\xC3\x89,2,3\n");
}

TEST_F(FileTypes, SortsAndPrintsAsAsked) {
  const std::vector<File> files = {{"a.few", 3000}, {"a.many", 10}, {"b.many", 20}, {"a.b", 30},
                                   {"a.tie", 30},   {"c.many", 1},  {"x.two", 15},  {"y.two", 15}};
  EXPECT_EQ(Text(files), ".few,1,3000\n.many,3,31\n.two,2,30\n.b,1,30\n.tie,1,30\n");
  settings_.fileIncr = 4096;
  Start(kRootNfs, kReportFiletypes);
  EXPECT_EQ(Text(files),
            ".many,3,31,12288\n.two,2,30,8192\n.b,1,30,4096\n.few,1,3000,4096\n.tie,1,30,4096\n");
}

// Thousands of keys, so that the table grows, or has room for a few of them only, and the others
// are sorted in memory or in runs of a temporary file. Extensions are the same after any name.
TEST_F(FileTypes, CountsLikeAMapOverManyKeys) {
  const std::string stems[] = {"name", "n\xC3\xA9", std::string(60, 'n'),
                               std::string(60, 'n') + "\xC3\xA9"};
  const char* const letters[] = {"a", "B", "b", "z", "Z", "7", "~", "\xC3\xA9", "_"};
  std::mt19937 random(2);
  const TypeLimits usual;
  struct Row {
    int kind;
    uint32_t limit;
    size_t entries, spooled;
    int64_t memory;
  };
  const Row rows[] = {{kRootNfs, 12, usual.entries, usual.spooled, usual.memory},
                      {kRootCifs, 12, usual.entries, usual.spooled, usual.memory},
                      {kRootNfs, 7, 300, usual.spooled, usual.memory},
                      {kRootCifs, 8, 300, 40'000, usual.memory},
                      {kRootCifs, 12, usual.entries, 1, 140'000},
                      {kRootNfs, 12, 0, 5'000, 0}};
  for (const auto& [kind, limit, entries, spooled, memory] : rows) {
    run_.typeLimits.entries = entries;
    run_.typeLimits.spooled = spooled;
    run_.typeLimits.memory = memory;
    const auto asKey = [&](std::string text) {
      if (kind_ == kRootCifs) std::transform(text.begin(), text.end(), text.begin(), ::tolower);
      return text;
    };
    Start(kind, kReportFiletypes, limit);
    std::map<std::string, std::pair<int, uint64_t>> expected;
    std::vector<File> files;
    for (int i = 0; i < 20'000; ++i) {
      std::string extension = ".";
      const size_t length = 1 + random() % (random() % 11 + 1);
      for (size_t left = length; left > 0; --left) {
        extension += letters[random() % std::size(letters)];
      }
      const uint64_t size = random() % 1000;
      files.push_back({stems[random() % std::size(stems)] + extension, size});
      if (length > limit) continue;
      auto& [count, bytes] = expected[asKey(extension)];
      ++count;
      bytes += size;
    }
    ASSERT_GT(expected.size(), 3'000U);
    std::map<std::string, std::pair<int, uint64_t>> found;
    std::istringstream lines(Text(files));
    for (std::string line; std::getline(lines, line);) {
      const size_t comma = line.find(',');
      char* end = nullptr;
      const auto count = static_cast<int>(std::strtol(&line[comma + 1], &end, 10));
      found.try_emplace(asKey(line.substr(0, comma)), count, std::strtoull(end + 1, nullptr, 10));
    }
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
  Start(kRootNfs, kReportUidTotals);
  std::vector<File> files;
  for (int round = 0; round < 3; ++round) {
    for (const uint32_t id : crowd) files.push_back({"x", 7, id, 0});
  }
  const std::string text = Text(files);
  EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 500);
  for (const uint32_t id : crowd) {
    EXPECT_NE(text.find(std::to_string(id) + ",3,21\n"), std::string::npos) << id;
  }
}

// Of spellings that count as one, that of the first record is shown, wherever it was counted.
TEST_F(FileTypes, ShowsTheFirstSpelling) {
  for (const size_t entries : {0, 1, 2, 9}) {
    run_.typeLimits.entries = entries;
    Start(kRootCifs, kReportFiletypes, 20);
    EXPECT_EQ(Text({{"a.Zz", 1}, {"a.LongerThanAWord", 2}, {"a.zZ", 3}, {"a.longerthanaword", 5}}),
              ".LongerThanAWord,2,7\n.Zz,2,4\n");
  }
}

}  // namespace
}  // namespace tabulon
