// The configurations that are handed out work as they stand, on the kind of scan they are for.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <set>
#include <sstream>
#include <tuple>

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

TEST(Examples, WriteAllTheirReports) {
  // Name, kind of scan, whether a report may have nothing behind its title.
  const std::tuple<std::string, const char*, bool> rows[] = {
      {"audit.cfg", "nfs", false},    {"audit-cifs.cfg", "cifs", false},
      {"cleanup.cfg", "nfs", true},   {"cleanup.cfg", "cifs", true},
      {"security.cfg", "cifs", true}, {"inventory.cfg", "nfs", false},
  };
  for (const auto& [name, kind, mayBeEmpty] : rows) {
    SCOPED_TRACE(name + ", " + kind);
    const TempDir dir;
    const std::string config =
        std::filesystem::path(__FILE__).parent_path() / "../../examples" / name;
    std::filesystem::create_directory(dir / "temp");
    RunMkdtl({"synth", "--kind", kind, "--records", "4000", "--seed", "7", dir / "x.dtl"});
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
      EXPECT_GT(std::ranges::count(text, '\n'), mayBeEmpty ? 2 : 0) << entry.path();
    }
    EXPECT_EQ(written, wanted);
  }
}

}  // namespace
}  // namespace tabulon
