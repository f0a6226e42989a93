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
using testing::Each;
using testing::StartsWith;

std::vector<std::string> Lines(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) lines.push_back(line);
  return lines;
}

// The word of `text` behind the first `mark` and blanks, without commas.
std::string WordBehind(const std::string& text, const std::string& mark) {
  std::istringstream in(text.substr(std::min(text.find(mark), text.size() - mark.size())));
  in.ignore(static_cast<std::streamsize>(mark.size()));
  std::string word;
  in >> word;
  std::erase(word, ',');
  return word;
}

// What a report counts is what the scan says of itself.
void ExpectAllFilesCounted(const TempDir& dir) {
  EXPECT_EQ(WordBehind(ReadFile(dir / "reports/totals.txt"), "All files"),
            WordBehind(ReadFile(dir / "reports/summary.txt"), " Files: "));
}

// A row for each file, and as many fields in each. The heading lacks the last one, the mode.
void ExpectATable(const TempDir& dir) {
  const auto plain = [&](const char* file) {
    std::string text = ReadFile((dir / "reports/") + file).substr(2);
    std::erase(text, '\0');  // names of this scan that are not ASCII lose nothing that matters
    return text;
  };
  const std::vector<std::string> lines = Lines(plain("inventory.csv"));
  for (const std::string& line : lines) {
    EXPECT_EQ(std::ranges::count(line, '\t'), &line == lines.data() ? 10 : 11) << line;
  }
  std::string fields = plain("scan.csv");
  std::ranges::replace(fields, '\t', '\n');
  EXPECT_EQ(Lines(fields).at(8), std::to_string(lines.size() - 1));
}

TEST(Examples, WriteAllTheirReports) {
  // clang-format off
  const struct {
    const char* name;
    const char* kind;
    bool empty;  // whether a report may have nothing behind its title
    void (*expect)(const TempDir&);
  } rows[] = {
      {"audit.cfg", "nfs", false, ExpectAllFilesCounted},
      {"audit-cifs.cfg", "cifs", false, ExpectAllFilesCounted},
      {"cleanup.cfg", "nfs", true, nullptr},
      {"cleanup.cfg", "cifs", true, nullptr},
      {"security.cfg", "cifs", true, nullptr},
      {"inventory.cfg", "nfs", false, ExpectATable},
  };
  // clang-format on
  for (const auto& row : rows) {
    SCOPED_TRACE(std::string(row.name) + ", " + row.kind);
    const TempDir dir;
    const std::string config =
        std::filesystem::path(__FILE__).parent_path() / "../../examples" / row.name;
    std::filesystem::create_directory(dir / "temp");
    ASSERT_EQ(
        RunMkdtl({"synth", "--kind", row.kind, "--records", "4000", "--seed", "7", dir / "x.dtl"})
            .status,
        0);
    const RunResult run = RunTabulon(
        {"-dtl", "x.dtl", "-cfg", config, "-rdir", "reports", "-tempdir", "temp", "-cat", "all"},
        {.env = {{"LC_ALL", "C.UTF-8"}}, .cwd = dir.path()});
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_THAT(Lines(run.err),
                Each(AnyOf(StartsWith("Scan time: "), StartsWith("Path = reports/"))));
    EXPECT_TRUE(std::filesystem::is_empty(dir / "temp"));

    const std::string key = "reportfile = ";
    std::set<std::string> wanted, written;
    for (const std::string& line : Lines(ReadFile(config))) {
      if (line.starts_with(key)) wanted.insert(line.substr(key.size()));
    }
    for (const auto& entry : std::filesystem::directory_iterator(dir / "reports")) {
      written.insert(entry.path().filename());
      const std::string text = ReadFile(entry.path());
      EXPECT_GT(std::ranges::count(text, '\n'), row.empty ? 2 : 0) << entry.path();
    }
    EXPECT_EQ(written, wanted);
    if (row.expect != nullptr) row.expect(dir);
  }
}

}  // namespace
}  // namespace tabulon
