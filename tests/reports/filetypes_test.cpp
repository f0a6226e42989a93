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

std::multiset<std::string> LinesOf(const std::string& text) {
  std::multiset<std::string> lines;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) lines.insert(line);
  return lines;
}

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
    limit_(run.typeLimits);
    ReportDefinition report;
    report.kind = &KindOf(type);
    report.format = kFormatCsv;
    report.extLength = extLength;
    std::vector<std::unique_ptr<ReportAccumulator>> parts;
    parts.push_back(report.kind->make(report, run));
    while (parts.size() < parts_) parts.push_back(parts[0]->NewPart());
    size_t turn = 0;
    ForEachBatch(spec, [&](Pass& pass) { parts[turn++ % parts_]->Add(pass); });
    for (; parts.size() > 1; parts.pop_back()) parts[0]->Merge(*parts.back());
    AttachToMemory(report.file.stream);
    ReportOutput output(report, settings_);
    parts[0]->Write(output);
    return Written(report.file.stream);
  }

  Settings settings_;
  void (*limit_)(TypeLimits& limits) = [](TypeLimits&) {};
  size_t parts_ = 1;  // that take the batches in turns
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
// are sorted in memory or in runs of a temporary file. Extensions are the same after any name, and
// of spellings that count as one, that of the first record is shown.
TEST_F(FileTypes, CountsLikeAMapOverManyKeys) {
  const std::string stems[] = {"name", "n\xC3\xA9", std::string(60, 'n'),
                               std::string(60, 'n') + "\xC3\xA9"};
  const char* const letters[] = {"a", "B", "b", "z", "Z", "7", "~", "\xC3\xA9", "_"};
  std::mt19937 random(2);
  // clang-format off
  const struct { int kind; uint32_t longest; void (*limit)(TypeLimits& limits); } rows[] = {
      {kRootNfs, 12, [](TypeLimits&) {}},
      {kRootCifs, 12, [](TypeLimits&) {}},
      {kRootNfs, 7, [](TypeLimits& to) { to.entries = 300; }},
      {kRootCifs, 8, [](TypeLimits& to) { to.entries = 300, to.spooled = 40'000; }},
      {kRootCifs, 12, [](TypeLimits& to) { to.spooled = 1, to.memory = 140'000; }},
      {kRootNfs, 12, [](TypeLimits& to) { to.entries = 0, to.spooled = 5'000, to.memory = 0; }},
  };
  // clang-format on
  for (const auto& row : rows) {
    std::map<std::string, std::pair<std::string, ReportCounts>> counted;  // with what is shown
    std::vector<File> files;
    for (int i = 0; i < 20'000; ++i) {
      std::string extension = ".";
      const size_t length = 1 + random() % (random() % 11 + 1);
      for (size_t left = length; left > 0; --left) {
        extension += letters[random() % std::size(letters)];
      }
      files.push_back({stems[random() % std::size(stems)] + extension, random() % 1000});
      if (length > row.longest) continue;
      std::string key = extension;
      if (row.kind == kRootCifs) std::ranges::transform(key, key.begin(), ::tolower);
      auto& [shown, counts] = counted.try_emplace(key, extension, ReportCounts()).first->second;
      ++counts.count;
      counts.totalBytes += files.back().size;
    }
    ASSERT_GT(counted.size(), 3'000U);
    std::multiset<std::string> expected;
    for (const auto& [key, sum] : counted) {
      expected.insert(sum.first + "," + std::to_string(sum.second.count) + "," +
                      std::to_string(sum.second.totalBytes));
    }
    limit_ = row.limit;
    for (parts_ = 1; parts_ <= 3; parts_ += 2) {
      EXPECT_EQ(LinesOf(Text(row.kind, files, row.longest)), expected);
    }
  }
}

// User IDs that all want one place of the table, as a hostile scan may choose them.
TEST_F(FileTypes, CountsKeysThatCrowd) {
  std::vector<File> files;
  std::multiset<std::string> expected;
  for (uint32_t id = 1; files.size() < 500; ++id) {
    if (id * kGoldenMultiplier >> 50 != 77) continue;
    files.push_back({"x", 7, id});
    expected.insert(std::to_string(id) + ",2,14");
  }
  std::vector<File> twice = files;
  twice.insert(twice.end(), files.begin(), files.end());
  EXPECT_EQ(LinesOf(Text(kRootNfs, twice, 4, kReportUidTotals)), expected);
}

}  // namespace
}  // namespace tabulon
