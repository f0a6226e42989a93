// The program from its command line to its exit status, on the roads that read no record and on
// one query.
#include "driver/configrun.h"

namespace tabulon {
namespace {

RunOptions In(const TempDir& dir) {
  return {.env = {{"TZ", "UTC"}, {"LC_ALL", "C.UTF-8"}}, .cwd = dir.path()};
}

TEST(Help, ShowsUsageAndHistoryUnderTheInvocationName) {
  const TempDir dir;
  const std::string program = dir / "C:\\bin\\tab";
  std::filesystem::create_symlink(TabulonPath(), program);
  for (const char* request : {"-?", "+?", "-?V", "-?v", "+?V"}) {
    const RunResult run = RunProgram({program, "-dtl", "none.dtl", request, "-x"});
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.err, "");
    if (request[2] == '\0') {
      EXPECT_THAT(run.out, AllOf(StartsWith("\nTabulon is the report generation partner "
                                            "application"),
                                 HasSubstr("\n    -q \"<query-select>\"\n"),
                                 EndsWith("documentation.\n\n\n"
                                          "For version information enter 'tab -?V'\n")));
    } else {
      EXPECT_THAT(run.out,
                  MatchesRegex("Version 2\\.2\\.0 built on [A-Z][a-z]{2} [ 0-9]{2} [0-9]{4} at "
                               "[0-9:]{8}\n\n\nTabulon - report component of the Velmora Korrin "
                               "filesystem analysis utilities\n\n"
                               "(    [0-9]{1,2} [A-Z][a-z]{2} [0-9]{4} - .+\n)+\t{15}\n"
                               "For usage information enter 'tab -\\?'\n"));
    }
  }
}

TEST(CommandLine, ErrorsComeBeforeAnythingElse) {
  const TempDir dir;
  const RunResult run =
      RunTabulon({"-tempdir", dir / "t", "-debug", "4", "-l", "x", "-no"}, In(dir));
  EXPECT_EQ(run.status, 1);
  EXPECT_EQ(run.out, "");
  EXPECT_EQ(run.err, "'-no' is an unknown option\n");
  EXPECT_THAT(dir.Entries(), IsEmpty());
}

TEST(DetailFile, IsTrawlxUnlessNamed) {
  const TempDir dir;
  const RunResult missing = RunTabulon({}, In(dir));
  EXPECT_EQ(missing.status, 1);
  EXPECT_EQ(WithoutScanTime(missing.err),
            "Couldn't find DTL file: 'trawlx.dtl'\n  (p2) No such file or directory\n");
  WriteDtl(dir / "trawlx.dtl", {});
  EXPECT_THAT(RunTabulon({}, In(dir)).out, HasSubstr("Source file: trawlx.dtl, Created: "));
  const RunResult directory = RunTabulon({"-dtl", "."}, In(dir));
  EXPECT_EQ(directory.status, 1);
  EXPECT_EQ(WithoutScanTime(directory.err), "'.' is not a valid Trawlix detail log file\n");
}

TEST(Logs, TakeTheOutputTheErrorsAndTheDebugLines) {
  const TempDir dir;
  WriteDtl(dir / "x.dtl", {.revision = 7, .server = "filer"});
  const std::vector<std::string> args = {"-dtl", "x.dtl", "-l", "list", "-e", "err", "-debug", "4"};
  for (int turn = 1; turn <= 2; ++turn) {
    const RunResult run = RunTabulon(args, In(dir));
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.out, "");
    EXPECT_EQ(WithoutScanTime(run.err), "");
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
  EXPECT_EQ(ReadFile(dir / "err"), WithoutScanTime(failed.err));
  EXPECT_THAT(ReadFile(dir / "err"), StartsWith("Couldn't find DTL file: 'none'\n"));
}

TEST(Logs, KeepTheirOrderInOneFile) {
  const TempDir dir;
  WriteDtl(dir / "trawlx.dtl", {});
  WriteFile(dir / "c", Section("type=duplicates"));
  std::filesystem::create_directory(dir / "dupmerge.tmp");  // a fault at the end
  const std::string command = "exec " + TabulonPath() + " -z -cfg c 2>&1";
  EXPECT_EQ(WithoutScanTime(RunProgram({"/bin/sh", "-c", command}, In(dir)).out),
            "ReportDir is NULL\nProcessConfigFile DONE\nnew dup temp file: duptemp0.tmp\n"
            "Unable to create temporary file 'dupmerge.tmp'\n  (p21) Is a directory\n");
}

TEST(Logs, MayCarryTheTimeInTheirNames) {
  const std::string stamp = "[0-9]{6}\\.[0-9]{6}";
  const std::pair<std::string, std::string> rows[] = {{"a%d%Dx", "a" + stamp + "d" + stamp + "Dx"},
                                                      {"%%d%x", "%" + stamp + "d%x"}};
  for (const auto& [name, made] : rows) {
    EXPECT_THAT(RunOnScan({.scan = {}, .options = {"-l", name}}).files,
                ElementsAre(Key(MatchesRegex(made))));
  }
}

// The query finds the name whatever the locale is.
TEST(Locale, DecidesWhatANameLooksLike) {
  ConfiguredRun run{.scan = {.revision = 7,
                             .rootPath = "/srv/caf\u00E9",
                             .records = {DirectoryRecord("/"), FileRecord("caf\u00E9.txt"),
                                         FileRecord("other.txt")}}};
  for (const char* locale : {"C.UTF-8", "C", "no_such_LOCALE"}) {
    run.locale = locale;
    const std::string cafe = run.locale == "C.UTF-8" ? "/caf\u00E9" : "/caf?";
    run.options = {};
    EXPECT_THAT(RunOnScan(run).out, HasSubstr("NFS root: /srv" + cafe + " (local")) << locale;
    run.options = {"-qf", "name is caf\u00E9.txt"};
    EXPECT_EQ(RunOnScan(run).out, "/srv" + cafe + cafe + ".txt\n") << locale;
  }
}

TEST(WildcardTester, MatchesUntilToldToQuit) {
  const std::string asks = "Template: ", then = "  String: ";
  // clang-format off
  const std::pair<const char*, std::string> rows[] = {
      {"*.log\nA.LOG\na.txt\nq\n~\na\\b\nquit\nquit\nmore\n",
       asks + then + "match\n" + then + "miss\n" + then + asks + then + "match\n" + then + asks},
      {"*\na\\b", asks + then + "miss\n" + then}, {"", asks},
  };
  // clang-format on
  for (const auto& [input, output] : rows) {
    const std::string command = "printf %s \"$0\" | " + TabulonPath() + " -t -dtl none";
    const RunResult run = RunProgram({"/bin/sh", "-c", command, input});
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.out + run.err, output);
  }
}

}  // namespace
}  // namespace tabulon
