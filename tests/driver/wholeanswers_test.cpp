// Nothing that a run was asked for goes missing without a word.
#include "driver/configrun.h"

namespace tabulon {
namespace {

ScanSpec ThreeFiles() {
  return {.revision = 7,
          .rootPath = "/srv",
          .records = {DirectoryRecord("/"), FileRecord("a"), FileRecord("b"), FileRecord("c")}};
}

// The same, tagged for QVA output, from the host "h".
ScanSpec TaggedFiles(const std::string& tag) {
  ScanSpec scan = ThreeFiles();
  scan.flags = kHeaderQvaTagged;
  scan.host = "h";
  scan.tag = PaddedTag(tag);
  return scan;
}

// A directory with a scan, "x.dtl", and a configuration, "c", that sends all files to "r".
class WholeAnswers : public testing::Test {
 protected:
  WholeAnswers() {
    WriteDtl(dir_ / "x.dtl", ThreeFiles());
    WriteFile(dir_ / "c", Section("type=custom;title=none;nameform=fullpath;reportfile=r"));
  }

  // The program with these arguments, behind words of the shell.
  RunResult Run(const std::string& arguments, const std::string& words = "") {
    return RunProgram(
        {"/bin/sh", "-c", words + "exec " + TabulonPath() + " -dtl x.dtl " + arguments},
        {.env = {{"LC_ALL", "C.UTF-8"}}, .cwd = dir_.path()});
  }

  TempDir dir_;
};

// The list log has what is left of the scan, and nothing else.
TEST_F(WholeAnswers, ScansThatBreakOffAreTold) {
  ScanSpec spec = ThreeFiles();
  DtlMap map;
  std::string scan = BuildDtl(spec, &map);
  const std::string paths = "/srv/a\n/srv/b\n/srv/c\n", query = "-l list -qf 'size ge 0'";
  // clang-format off
  const struct { uint64_t size; const char* told; size_t listed; } rows[] = {
      {map.recordsEnd + 4, nullptr, 21}, {map.recordsEnd, " after 4 records\n", 21},
      {map.records[3] + 3, " after 3 of 4 records\n", 14}, {map.records[0], " after 0 of 4 records\n", 0},
  };
  // clang-format on
  for (const auto& row : rows) {
    WriteFile(dir_ / "x.dtl", scan.substr(0, row.size));
    const std::string told = row.told ? std::string("'x.dtl' breaks off") + row.told : "";
    for (const std::string& road : {query, "-l log -cfg c" + std::string()}) {
      const RunResult run = Run(road);
      EXPECT_EQ(run.status, 0);
      EXPECT_THAT(WithoutScanTime(run.err), EndsWith(told)) << road;
      EXPECT_EQ(run.err.find("breaks off") != std::string::npos, row.told != nullptr);
    }
    for (const char* file : {"list", "r"}) {
      EXPECT_EQ(ReadFile(dir_ / file), paths.substr(0, row.listed)) << row.size;
    }
    EXPECT_EQ(ReadFile(dir_ / "log"), "Report 'none' written to r\n");
    EXPECT_EQ(WithoutScanTime(Run("").err), "") << "a summary reads no record";
  }
}

// What is written to a closed stream fails as on a full disk, and no file of the run takes its
// place.
TEST_F(WholeAnswers, StreamsThatTakeNothingFailTheRun) {
  // clang-format off
  const struct { const char* arguments; const char* told; } rows[] = {
      {"-q 'size ge 0' >&-", "Error writing 'standard output'\n  (p9) "},
      {"-q 'size ge 0' >/dev/full", "Error writing 'standard output'\n  (p28) "},
      {"-l /dev/full", "Error writing '/dev/full'\n  (p28) "},
      {"-l /dev/full -q 'size ge 0'", "Error writing '/dev/full'\n  (p28) "},
      {"-rdir /dev -cfg full", "Error writing '/dev/full'\n  (p28) "},
      {"-cfg c 2>&-", ""},
      {"-cfg c 2>/dev/full", ""},
      {"-cfg c -l list -e log <&- >&- 2>&-", ""},
      {"-cfg nothing -e /dev/full", "Cannot open configuration file 'nothing'"},
      {"-cfg /dev/zero", "Too many empty lines in the configuration file\n"},  // without an end
      {"-tempdir /proc -l list -q 'size ge 0'", "Error writing '/proc/tabul"},
      {"-q 'size gt 1 [and] size gt 2' -debug 4", "Error writing 'TabulonDebug.log'\n  (p28) "},
  };
  // clang-format on
  std::filesystem::create_symlink("/dev/full", dir_ / "TabulonDebug.log");
  WriteFile(dir_ / "full", Section("type=custom;reportfile=full"));
  const std::string scan = ReadFile(dir_ / "x.dtl");
  for (const auto& row : rows) {
    const RunResult run = Run(row.arguments);
    EXPECT_EQ(run.status, 1) << row.arguments;
    EXPECT_THAT(run.err, HasSubstr(row.told)) << row.arguments;
    EXPECT_EQ(ReadFile(dir_ / "x.dtl"), scan);
  }
  EXPECT_EQ(ReadFile(dir_ / "r"), "/srv/a\n/srv/b\n/srv/c\n");
  EXPECT_THAT(ReadFile(dir_ / "log"), StartsWith("Error writing 'standard output'\n  (p9) "));
  EXPECT_THAT(ReadFile(dir_ / "list"), StartsWith("Cannot open tmp file /proc/tabul"));
  EXPECT_EQ(Run("-cfg c <&-").status, 0);
  // A scan whose end does not come is told to the error log alone, whatever that is.
  std::filesystem::resize_file(dir_ / "x.dtl", 300);
  const RunResult run = Run("-e /dev/full -q 'size ge 0'");
  EXPECT_EQ(run.status, 1);
  EXPECT_THAT(run.err, HasSubstr("Error writing '/dev/full'\n  (p28) "));
}

// What would be written over a file of the run is refused: a log before anything is opened.
TEST_F(WholeAnswers, FilesOfTheRunAreSpared) {
  WriteDtl(dir_ / "x.dtl", TaggedFiles("T"));
  WriteFile(dir_ / "r", "of yesterday");
  std::filesystem::create_directory(dir_ / "d");
  std::filesystem::create_hard_link(dir_ / "x.dtl", dir_ / "hard");
  std::filesystem::create_symlink("c", dir_ / "toC");
  std::filesystem::create_symlink("r", dir_ / "toR");
  std::filesystem::create_symlink("TabulonDebug.log", dir_ / "led");
  const auto entries = dir_.Entries();
  const std::string scan = ReadFile(dir_ / "x.dtl"),
                    custom = "type=custom;reportfile=", config = custom + "r";
  // clang-format off
  const struct {
    std::string sections; const char* arguments; const char* files; bool logged = false;
  } rows[] = {
      {config, "-l x.dtl", "scan 'x.dtl' and list log 'x.dtl'"},
      {config, "-e d/../hard", "scan 'x.dtl' and error log 'd/../hard'"},
      {config, "-cfg c -l toC", "configuration 'c' and list log 'toC'"},
      {config, "-q 'size ge 0' -cfg c -e ./c", "configuration 'c' and error log './c'"},
      {config, "-debug 1 -l led", "list log 'led' and debug log 'TabulonDebug.log'"},
      {config, "-debug 1 -e d/../TabulonDebug.log",
       "error log 'd/../TabulonDebug.log' and debug log 'TabulonDebug.log'"},
      {custom + "x.dtl", "-cfg c", "scan 'x.dtl' and report file 'x.dtl'"},
      {custom + "c", "-cfg c", "configuration 'c' and report file 'c'"},
      {config + "\n[report]\n" + custom + "toR", "-cfg c", "report file 'r' and report file 'toR'"},
      {custom + "new\n[report]\n" + custom + "d/../new", "-cfg c",
       "report file 'new' and report file 'd/../new'"},
      {custom + "toR", "-cfg c -rdir . -e new -l r", "list log 'r' and report file './toR'", true},
      {"type=totals", "-cfg c -qva -l T_h_srv",
       "list log 'T_h_srv' and QVA output file 'T_h_srv'", true},
  };
  // clang-format on
  for (const auto& row : rows) {
    WriteFile(dir_ / "c", Section(row.sections));
    const RunResult run = Run(row.arguments);
    EXPECT_EQ(run.status, 1) << row.files;
    EXPECT_THAT(run.err, EndsWith(std::string(row.files) + " are one file\n"));
    EXPECT_EQ(ReadFile(dir_ / "x.dtl"), scan);
    EXPECT_EQ(ReadFile(dir_ / "c"), Section(row.sections));
    if (row.logged) continue;
    EXPECT_EQ(ReadFile(dir_ / "r"), "of yesterday");
    EXPECT_EQ(dir_.Entries(), entries);
  }
  EXPECT_EQ(Run("-l /dev/null -e /dev/null").status, 0);
  // Reports that are not written spare everything.
  WriteFile(dir_ / "c", Section(custom + "c") + Section(custom + "c;inactive=yes"));
  EXPECT_EQ(Run("-qva -cfg c").status, 0);
}

TEST_F(WholeAnswers, OnlyQvaFilesAreReplacedByOne) {
  WriteDtl(dir_ / "x.dtl", TaggedFiles("T|\u00E9"));
  const std::string name = dir_ / "T|\u00E9_h_srv", plain = Section("type=totals");
  WriteFile(dir_ / "c", "[parameters]\ntextoutput=unicode\n" + plain);
  EXPECT_EQ(Run("-qva -cfg c").status, 0);
  WriteFile(dir_ / "c", plain);
  EXPECT_EQ(Run("-qva -cfg c").status, 0) << "over one in UTF-16";
  EXPECT_EQ(Run("-qva -cfg c").status, 0);
  for (const char* text :
       {"letter", "T|h|/srv|NFS|filer|1|2|3|4|5|x\n", "a|b|c|d|e|1|2|3|4|5|6\n"}) {
    WriteFile(name, text);
    const RunResult run = Run("-qva -cfg c");
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(WithoutScanTime(run.err),
              "ReportDir is NULL\n'T|\u00E9_h_srv' is no QVA output file, and stays\n");
    EXPECT_EQ(ReadFile(name), text);
  }
  WriteFile(name, "");
  EXPECT_EQ(Run("-qva -cfg c").status, 0);
}

// A fault keeps reports from being written.
TEST_F(WholeAnswers, ReportsOfYesterdayOutliveAFailure) {
  for (const char* name : {"r", "second"}) WriteFile(dir_ / name, "of yesterday");
  const std::string first = ReadFile(dir_ / "c");
  // clang-format off
  const std::pair<std::string, const char*> rows[] = {
      {first + Section("type=custom;reportfile=none/x"),
       "Unable to create report file 'none/x'\n  (p2) "},
      {Section("type=duplicates;reportfile=r") + Section("type=totals;reportfile=second"),
       "Unable to create temporary file 'dupmerge.tmp'"},
  };
  // clang-format on
  std::filesystem::create_directory(dir_ / "dupmerge.tmp");
  for (const auto& [config, told] : rows) {
    WriteFile(dir_ / "c", config);
    const RunResult run = Run("-z -tempdir /tmp -cfg c");
    EXPECT_EQ(run.status, 1);
    EXPECT_THAT(run.err, HasSubstr(told));
    EXPECT_EQ(ReadFile(dir_ / "r") + ReadFile(dir_ / "second"), "of yesterdayof yesterday");
  }
  WriteFile(dir_ / "c", first);
  EXPECT_EQ(Run("-cfg c", "umask 0277; ").status, 0);
  EXPECT_THAT(ReadFile(dir_ / "r"), StartsWith("/srv/a\n"));
}

// Errors go to both logs, so that they are there twice.
TEST_F(WholeAnswers, BothLogsMayBeOneFile) {
  std::filesystem::create_symlink("log", dir_ / "same");
  WriteFile(dir_ / "log", "of yesterday\n");
  std::filesystem::resize_file(dir_ / "x.dtl", std::filesystem::file_size(dir_ / "x.dtl") - 48);
  EXPECT_EQ(Run("-l log -e same -qf 'name ne c'").status, 0);
  const std::string listed = "/srv/a\n/srv/b\n";
  EXPECT_EQ(ReadFile(dir_ / "log"), listed + "'x.dtl' breaks off after 4 records\n");
  EXPECT_EQ(Run("-l log -e same -qf 'size gt ?'").status, 1);
  EXPECT_THAT(ReadFile(dir_ / "log"), StartsWith("Syntax error: size gt ?\n"));
}

}  // namespace
}  // namespace tabulon
