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

TEST(Examples, WriteAllTheirReports) {
  // clang-format off
  const struct {
    const char* name;
    const char* kind;
    bool empty;  // whether a report may have nothing behind its title
    bool counted;  // whether it has the totals of all files
  } rows[] = {
      {"audit.cfg", "nfs", false, true},
      {"audit-cifs.cfg", "cifs", false, true},
      {"cleanup.cfg", "nfs", true, false},
      {"cleanup.cfg", "cifs", true, false},
      {"security.cfg", "cifs", true, false},
      {"inventory.cfg", "nfs", false, false},
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
    if (!row.counted) continue;
    // What a report counts is what the scan says of itself.
    EXPECT_EQ(WordBehind(ReadFile(dir / "reports/totals.txt"), "All files"),
              WordBehind(ReadFile(dir / "reports/summary.txt"), " Files: "));
  }
}

}  // namespace
}  // namespace tabulon
