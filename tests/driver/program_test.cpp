// The program from its command line to its exit status, on the roads that read no record and on
// one query.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "support.h"
#include "tools/dtlbuild.h"

namespace tabulon {
namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::Not;
using testing::StartsWith;

const RunOptions kUtc = {.env = {{"TZ", "UTC"}, {"LC_ALL", "C.UTF-8"}}};

RunOptions In(const TempDir& dir, std::map<std::string, std::string> env = kUtc.env) {
  return {.env = std::move(env), .cwd = dir.path()};
}

// What the error stream holds behind the line with the time of the run, which every run that gets
// past its command line writes first.
std::string AfterScanTime(const std::string& err) {
  EXPECT_THAT(err, MatchesRegex("Scan time: [A-Z][a-z]{2}, [0-9]+ [A-Z][a-z]{2}, [0-9]{4} at "
                                "[0-9:]{8}\\.\n(.|\n)*"));
  const size_t end = err.find('\n');
  return end == std::string::npos ? err : err.substr(end + 1);
}

TEST(Help, ShowsTheUsageUnderTheInvocationName) {
  const TempDir dir;
  const std::string program = dir / "C:\\bin\\tab";
  std::filesystem::create_symlink(TabulonPath(), program);
  for (const char* request : {"-?", "+?"}) {
    const RunResult run = RunProgram({program, "-dtl", "none.dtl", request, "-x"});
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.err, "");
    EXPECT_THAT(run.out, StartsWith("\nTabulon is the report generation partner application"));
    EXPECT_THAT(run.out, HasSubstr("\n    -q \"<query-select>\"\n"));
    EXPECT_THAT(run.out, EndsWith("documentation.\n\n\nFor version information enter 'tab -?V'\n"));
  }
}

TEST(Help, ShowsTheVersionAndItsHistory) {
  for (const char* request : {"-?V", "-?v", "+?V"}) {
    const RunResult run = RunTabulon({request});
    EXPECT_EQ(run.status, 0);
    EXPECT_THAT(run.out,
                MatchesRegex("Version 2\\.2\\.0 built on [A-Z][a-z]{2} [ 0-9]{2} [0-9]{4} at "
                             "[0-9:]{8}\n\n\nTabulon - report component of the Velmora Korrin "
                             "filesystem analysis utilities\n\n"
                             "(    [0-9]{1,2} [A-Z][a-z]{2} [0-9]{4} - .+\n)+\t{15}\n"
                             "For usage information enter '" +
                             TabulonPath() + " -\\?'\n"));
  }
}

TEST(Help, FailsWhenNobodyCanReadIt) {
  const RunResult run = RunTabulon({"-?"}, {.outPath = "/dev/full"});
  EXPECT_EQ(run.status, 1);
  EXPECT_THAT(run.err, StartsWith("Error writing 'standard output'\n  (p28) "));
}

TEST(CommandLine, ErrorsComeBeforeAnythingElse) {
  const TempDir dir;
  const RunResult run =
      RunTabulon({"-tempdir", dir / "t", "-debug", "4", "-l", "x", "-no"}, In(dir));
  EXPECT_EQ(run.status, 1);
  EXPECT_EQ(run.out, "");
  EXPECT_EQ(run.err, "'-no' is an unknown option\n");
  EXPECT_THAT(dir.Entries(), ElementsAre());
}

TEST(DetailFile, IsTrawlxUnlessNamed) {
  const TempDir dir;
  const RunResult missing = RunTabulon({}, In(dir));
  EXPECT_EQ(missing.status, 1);
  EXPECT_EQ(AfterScanTime(missing.err),
            "Couldn't find DTL file: 'trawlx.dtl'\n  (p2) No such file or directory\n");
  WriteDtl(dir / "trawlx.dtl", {.server = "filer"});
  const RunResult found = RunTabulon({}, In(dir));
  EXPECT_EQ(found.status, 0);
  EXPECT_THAT(found.out, HasSubstr("Source file: trawlx.dtl, Created: Thu, 01 Jan, 1970 at 00:00:00"
                                   "\n\nServer: filer"));
}

TEST(DetailFile, IsRefusedWithTheReason) {
  constexpr uint32_t kAix = 0x105;
  const std::string invalid = "'x.dtl' is not a valid Trawlix detail log file\n";
  struct Row {
    const char* about;
    std::string bytes;
    std::vector<std::string> options;
    std::string message;
  };
  const std::string sound = BuildDtl({});
  const Row rows[] = {
      {"empty", "", {}, invalid},
      {"a cut header", sound.substr(0, 87), {}, invalid},
      {"another magic", "GIF8" + sound.substr(4), {}, invalid},
      {"zlib, but not as scanners write it", "\x78\x9C" + sound.substr(2), {}, invalid},
      {"unfinished",
       BuildDtl({.magic = kMagicIncomplete}),
       {},
       "'x.dtl' is an incomplete Trawlix detail log file\n"},
      {"AIX",
       BuildDtl({.revision = kAix}),
       {},
       "'x.dtl' was built on AIX.\nCurrently a know temporary issue exists with AIX DTL files "
       "preventing report generation.\nWe regret any inconvenience caused.\n"},
      {"beta",
       BuildDtl({.magic = kMagicBeta, .revision = 0x205}),
       {},
       "'x.dtl' was built by a BETA revision of Trawlix.\nUnfortunately these DTL files are no "
       "longer supported.\nPlease download the latest version of Trawlix.\n"},
      {"revision 9",
       BuildDtl({.revision = 9}),
       {},
       "'x.dtl' was built by an incompatible revision of Trawlix\n"},
      {"no stream information",
       BuildDtl({.revision = 6}),
       {"-adsfull"},
       "dtl file 'x.dtl' was built with a version of trawlix that does not support full ADS info. "
       "Please retry without '-adsfull' option.\n"},
      {"no QVA tag", sound, {"-qva"}, "'x.dtl' is not an QVA-tagged .dtl file\n"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.about);
    const TempDir dir;
    WriteFile(dir / "x.dtl", row.bytes);
    std::vector<std::string> args = {"-dtl", "x.dtl"};
    args.insert(args.end(), row.options.begin(), row.options.end());
    const RunResult run = RunTabulon(args, In(dir));
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.out, "");
    EXPECT_EQ(AfterScanTime(run.err), row.message);
    EXPECT_THAT(dir.Entries(), ElementsAre("x.dtl"));
    EXPECT_EQ(ReadFile(dir / "x.dtl"), row.bytes);
  }
}

TEST(DetailFile, IsSummarisedInEveryRevision) {
  for (const uint32_t revision : {6U, 7U, 8U, 0x205U + 1, 0x208U}) {
    for (const uint32_t magic : {kMagicFinished, kMagicBeta}) {
      SCOPED_TRACE(revision);
      const TempDir dir;
      // The summary reads no record, so damage there does not matter to it.
      WriteDtl(dir / "x.dtl", {.magic = magic, .revision = revision, .rawRecords = "\x01\x02"});
      const RunResult run = RunTabulon({"-dtl", "x.dtl"}, In(dir));
      EXPECT_EQ(run.status, 0) << run.err;
      EXPECT_EQ(AfterScanTime(run.err), "");
      EXPECT_EQ(run.out.find("Scan Version : 1.0\n") != std::string::npos, (revision & 0xFF) == 8);
    }
  }
}

TEST(Logs, TakeTheOutputTheErrorsAndTheDebugLines) {
  const TempDir dir;
  WriteDtl(dir / "x.dtl", {.revision = 7, .server = "filer"});
  const std::vector<std::string> args = {"-dtl", "x.dtl", "-l", "list", "-e", "err", "-debug", "4"};
  for (int turn = 1; turn <= 2; ++turn) {
    const RunResult run = RunTabulon(args, In(dir));
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.out, "");
    EXPECT_EQ(AfterScanTime(run.err), "");
  }
  EXPECT_THAT(dir.Entries(), ElementsAre("TabulonDebug.log", "err", "list", "x.dtl"));
  EXPECT_THAT(ReadFile(dir / "list"), AllOf(StartsWith("\n\nVelmora Filesystem Audit Summary"),
                                            HasSubstr("Server: filer")));
  // The debug log gathers the runs.
  const std::string stamp = "[0-9]{2}-[0-9]{2}-[0-9]{2} [0-9:]{8} ";
  const std::string once = stamp + "\n\n#\n#Velmora Filesystem Report Utility\n#\n" + stamp +
                           "Scan time: [^\n]+\\.\n" + stamp + "Doing Summary Report\\.\n";
  EXPECT_THAT(ReadFile(dir / "TabulonDebug.log"), MatchesRegex("(" + once + "){2}"));

  // Errors go to the error log and to the console.
  const RunResult failed = RunTabulon({"-dtl", "none", "-e", "err"}, In(dir));
  EXPECT_EQ(failed.status, 1);
  EXPECT_EQ(ReadFile(dir / "err"), AfterScanTime(failed.err));
}

TEST(Logs, MayCarryTheTimeInTheirNames) {
  const TempDir dir;
  WriteDtl(dir / "x.dtl", {});
  EXPECT_EQ(RunTabulon({"-dtl", "x.dtl", "-l", "list%d.txt"}, In(dir)).status, 0);
  EXPECT_THAT(dir.Entries(), ElementsAre(MatchesRegex("list[0-9]{6}\\.[0-9]{6}d\\.txt"), "x.dtl"));
}

TEST(Logs, ThatCannotBeMadeEndTheRun) {
  const TempDir dir;
  const struct {
    const char* option;
    const char* what;
  } rows[] = {{"-l", "log"}, {"-e", "error"}};
  for (const auto& row : rows) {
    const RunResult run = RunTabulon({row.option, "no/where"}, In(dir));
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.err, std::string("Unable to create ") + row.what +
                           " file 'no/where'\n  (p2) No such file or directory\n");
  }
}

TEST(Logs, TellWhenTheListIsNotWhole) {
  const TempDir dir;
  WriteDtl(dir / "x.dtl", {});
  RunOptions full = In(dir);
  full.outPath = "/dev/full";
  const RunResult run = RunTabulon({"-dtl", "x.dtl"}, full);
  EXPECT_EQ(run.status, 1);
  EXPECT_THAT(run.err, HasSubstr("Error writing 'standard output'\n  (p28) "));
}

TEST(Locale, DecidesWhatANameLooksLike) {
  const TempDir dir;
  WriteDtl(dir / "x.dtl", {.revision = 7,
                           .rootPath = "/srv/caf\xC3\xA9",
                           .records = {DirectoryRecord("/"), FileRecord("caf\xC3\xA9.txt"),
                                       FileRecord("other.txt")}});
  const struct {
    const char* locale;
    const char* letter;
  } rows[] = {{"C.UTF-8", "\xC3\xA9"}, {"C", "?"}, {"no_such_LOCALE", "?"}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.locale);
    const RunOptions options = In(dir, {{"LC_ALL", row.locale}, {"TZ", "UTC"}});
    const RunResult summary = RunTabulon({"-dtl", "x.dtl"}, options);
    EXPECT_THAT(summary.out, HasSubstr(std::string("NFS root: /srv/caf") + row.letter + " (local"));
    // The query finds the name whatever the locale is.
    const RunResult query =
        RunTabulon({"-dtl", "x.dtl", "-qf", "name is caf\xC3\xA9.txt"}, options);
    EXPECT_EQ(query.status, 0);
    EXPECT_EQ(query.out, std::string("/srv/caf") + row.letter + "/caf" + row.letter + ".txt\n");
  }
}

TEST(TemporaryDirectory, IsMadeWithItsParents) {
  const TempDir dir;
  WriteDtl(dir / "x.dtl", {.kind = ScanKind::kCifs, .rootPath = "C:\\"});
  const std::string made = dir / "a/b/c";
  const RunResult run = RunTabulon({"-tempdir", made + "/", "-dtl", "x.dtl"}, In(dir));
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_TRUE(std::filesystem::is_empty(made));
  EXPECT_EQ(std::filesystem::status(made).permissions(), std::filesystem::perms::owner_all);
}

TEST(WildcardTester, MatchesUntilToldToQuit) {
  const struct {
    const char* input;
    const char* output;
  } rows[] = {
      {"*.log\nA.LOG\na.txt\nq\n~\na\\b\nquit\nquit\nmore\n",
       "Template:   String: match\n  String: miss\n  String: Template:   String: match\n"
       "  String: Template: "},
      {"*\na\\b", "Template:   String: miss\n  String: "},
      {"", "Template: "},
  };
  for (const auto& row : rows) {
    const RunResult run = RunTabulon({"-t", "-dtl", "none"}, {.input = row.input});
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.out, row.output);
    EXPECT_EQ(run.err, "");
  }
}

}  // namespace
}  // namespace tabulon
