// The configurations that are handed out work as they stand, on the kind of scan they are for.
#include <set>
#include <sstream>

#include "driver/configrun.h"

namespace tabulon {
namespace {

using testing::AnyOf;
using testing::Each;
using testing::Not;

const std::filesystem::path kExamples = SOURCE_DIR "/examples";

std::vector<std::string> Lines(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) lines.push_back(line);
  return lines;
}

// The kinds of scans that a configuration says it is for.
std::vector<std::string> KindsOf(const std::string& config) {
  const auto isFor = [&](const char* kind) {
    return testing::Value(config, HasSubstr("For scans of " + std::string(kind)));
  };
  std::vector<std::string> kinds;
  if (isFor("either kind") || isFor("Unix filesystems")) kinds.emplace_back("nfs");
  if (isFor("either kind") || isFor("Windows shares")) kinds.emplace_back("cifs");
  return kinds;
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

TEST(Examples, WriteAllTheirReportsOnTheKindsTheyName) {
  for (const auto& example : std::filesystem::directory_iterator(kExamples)) {
    if (example.is_directory()) continue;
    const std::string name = example.path().filename(), config = ReadFile(example.path());
    EXPECT_THAT(KindsOf(config), Not(IsEmpty())) << name;
    std::set<std::string> written, named;
    for (const std::string& line : Lines(config)) {
      const std::string key = "reportfile = ";
      if (line.starts_with(key)) named.insert(line.substr(key.size()));
    }
    for (const std::string& kind : KindsOf(config)) {
      SCOPED_TRACE(name + ", " + kind);
      const TempDir dir;
      RunExample(dir, name, kind);
      for (const auto& entry : std::filesystem::directory_iterator(dir / "reports")) {
        written.insert(entry.path().filename());
        EXPECT_THAT(ReadFile(entry.path()), Not(IsEmpty())) << entry.path();
      }
    }
    EXPECT_EQ(written, named) << name;
  }
}

}  // namespace
}  // namespace tabulon
