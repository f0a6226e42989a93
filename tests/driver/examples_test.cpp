// The configurations that are handed out work as they stand, on the kind of scan they are for.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <set>
#include <sstream>

#include "support.h"

namespace tabulon {
namespace {

using testing::AnyOf;
using testing::StartsWith;

std::string ExamplePath(const std::string& name) {
  return std::filesystem::path(__FILE__).parent_path() / "../../examples" / name;
}

std::vector<std::string> Lines(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) lines.push_back(line);
  return lines;
}

std::set<std::string> ReportFilesOf(const std::string& config) {
  const std::string key = "reportfile = ";
  std::set<std::string> files;
  for (const std::string& line : Lines(config)) {
    if (line.starts_with(key)) files.insert(line.substr(key.size()));
  }
  return files;
}

// Makes up a scan and runs an example on it, with its reports in "reports".
void RunExample(const TempDir& dir, const std::string& name, const std::string& kind) {
  ASSERT_EQ(
      RunMkdtl({"synth", "--kind", kind, "--records", "4000", "--seed", "7", dir / "x.dtl"}).status,
      0);
  std::filesystem::create_directory(dir / "temp");
  const RunResult run = RunTabulon({"-dtl", "x.dtl", "-cfg", ExamplePath(name), "-rdir", "reports",
                                    "-tempdir", "temp", "-cat", "all"},
                                   {.env = {{"LC_ALL", "C.UTF-8"}}, .cwd = dir.path()});
  ASSERT_EQ(run.status, 0) << run.err;
  for (const std::string& line : Lines(run.err)) {
    EXPECT_THAT(line, AnyOf(StartsWith("Scan time: "), StartsWith("Path = reports/")));
  }
  EXPECT_TRUE(std::filesystem::is_empty(dir / "temp"));
}

// The part of `text` behind the first `mark`, up to a blank or the end of the line.
std::string Behind(const std::string& text, const std::string& mark) {
  const size_t at = text.find(mark);
  if (at == std::string::npos) return "no '" + mark + "'";
  const size_t start = text.find_first_not_of(' ', at + mark.size());
  return text.substr(start, text.find_first_of(" \n", start) - start);
}

TEST(Examples, WriteAllTheirReports) {
  const struct {
    const char* name;
    const char* kind;
    bool empty;  // whether a report may have nothing behind its title
  } rows[] = {{"audit.cfg", "nfs", false},    {"audit-cifs.cfg", "cifs", false},
              {"cleanup.cfg", "nfs", true},   {"cleanup.cfg", "cifs", true},
              {"security.cfg", "cifs", true}, {"inventory.cfg", "nfs", false}};
  for (const auto& row : rows) {
    SCOPED_TRACE(std::string(row.name) + ", " + row.kind);
    const TempDir dir;
    RunExample(dir, row.name, row.kind);
    std::set<std::string> written;
    for (const auto& entry : std::filesystem::directory_iterator(dir / "reports")) {
      written.insert(entry.path().filename());
      const std::string text = ReadFile(entry.path());
      EXPECT_GT(std::ranges::count(text, '\n'), row.empty ? 2 : 0) << entry.path();
    }
    EXPECT_EQ(written, ReportFilesOf(ReadFile(ExamplePath(row.name))));
  }
}

// What a report counts is what the scan says of itself.
TEST(Examples, AuditCountsEveryFile) {
  for (const bool nfs : {true, false}) {
    const TempDir dir;
    RunExample(dir, nfs ? "audit.cfg" : "audit-cifs.cfg", nfs ? "nfs" : "cifs");
    std::string counted = Behind(ReadFile(dir / "reports/totals.txt"), "All files");
    std::erase(counted, ',');
    EXPECT_EQ(counted, Behind(ReadFile(dir / "reports/summary.txt"), " Files: "));
  }
}

// A row for each file, and as many fields in each. The heading lacks the last one, the mode.
TEST(Examples, InventoryIsATable) {
  const TempDir dir;
  RunExample(dir, "inventory.cfg", "nfs");
  const auto plain = [&](const char* file) {
    std::string text = ReadFile((dir / "reports/") + file).substr(2);
    std::erase(text, '\0');  // names of this scan that are not ASCII lose nothing that matters
    return text;
  };
  const std::vector<std::string> lines = Lines(plain("inventory.csv"));
  std::set<std::ptrdiff_t> tabs;
  for (const std::string& line : lines) tabs.insert(std::ranges::count(line, '\t'));
  EXPECT_THAT(tabs, testing::ElementsAre(10, 11));
  EXPECT_EQ(std::ranges::count(lines.front(), '\t'), 10);
  std::string fields = plain("scan.csv");
  std::ranges::replace(fields, '\t', '\n');
  EXPECT_EQ(Lines(fields).at(8), std::to_string(lines.size() - 1));
}

}  // namespace
}  // namespace tabulon
