// The configurations that are handed out work as they stand, on the kind of scan they are for.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <set>
#include <sstream>

#include "support.h"

namespace tabulon {
namespace {

using testing::AnyOf;
using testing::Each;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

const std::filesystem::path kExamples = SOURCE_DIR "/examples";

std::vector<std::string> Lines(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) lines.push_back(line);
  return lines;
}

// The kinds of scans that a configuration says it is for.
std::vector<std::string> KindsOf(const std::string& config) {
  const auto isFor = [&](const std::string& kind) {
    return config.find("For scans of " + kind) != std::string::npos;
  };
  std::vector<std::string> kinds;
  if (isFor("either kind") || isFor("Unix filesystems")) kinds.emplace_back("nfs");
  if (isFor("either kind") || isFor("Windows shares")) kinds.emplace_back("cifs");
  return kinds;
}

// The report files of a configuration, but for those of another kind of scan.
std::set<std::string> ReportFiles(const std::string& config, const std::string& otherKind) {
  std::set<std::string> files;
  bool other = false;
  for (const std::string& line : Lines(config)) {
    if (line == "[report]") other = false;
    if (line == "category = " + otherKind) other = true;
    const std::string key = "reportfile = ";
    if (line.starts_with(key) && !other) files.insert(line.substr(key.size()));
  }
  return files;
}

// Runs a configuration into the directory reports; what is said must be in order.
void RunExample(const TempDir& dir, const std::string& name, const std::string& kind) {
  std::filesystem::create_directory(dir / "temp");
  RunMkdtl({"synth", "--kind", kind, "--records", "4000", "--seed", "7", dir / "x.dtl"});
  const bool byKind = name == "dashboard.cfg";
  const char* const category = !byKind ? "all" : kind == "nfs" ? "unix" : "windows";
  const RunResult run = RunTabulon({"-dtl", "x.dtl", "-cfg", kExamples / name, "-rdir", "reports",
                                    "-tempdir", "temp", "-cat", category},
                                   {.env = {{"LC_ALL", "C.UTF-8"}}, .cwd = dir.path()});
  ASSERT_EQ(run.status, 0) << run.err;
  EXPECT_THAT(Lines(run.err),
              Each(AnyOf(StartsWith("Scan time: "), StartsWith("Path = reports/"))));
  EXPECT_TRUE(std::filesystem::is_empty(dir / "temp"));
}

TEST(Examples, WriteAllTheirReportsOnEachKindTheyName) {
  for (const auto& example : std::filesystem::directory_iterator(kExamples)) {
    if (example.is_directory()) continue;
    const std::string name = example.path().filename(), config = ReadFile(example.path());
    const std::vector<std::string> kinds = KindsOf(config);
    EXPECT_THAT(kinds, Not(IsEmpty())) << name;
    for (const std::string& kind : kinds) {
      SCOPED_TRACE(name + ", " + kind);
      const TempDir dir;
      RunExample(dir, name, kind);
      std::set<std::string> written;
      for (const auto& entry : std::filesystem::directory_iterator(dir / "reports")) {
        written.insert(entry.path().filename());
        EXPECT_THAT(ReadFile(entry.path()), Not(IsEmpty())) << entry.path();
      }
      EXPECT_EQ(written, ReportFiles(config, kind == "nfs" ? "windows" : "unix"));
    }
  }
}

}  // namespace
}  // namespace tabulon
