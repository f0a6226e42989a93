// What all companions have in common on the command line: help, version, and what they say to wrong
// usage and to what they cannot do, without a row of output.
#include <utility>

#include "companion.h"

namespace tabulon {
namespace {

using testing::StartsWith;

class CommandLine : public testing::Test {
 protected:
  CommandLine() {
    DtlMap map;
    const std::string bytes = BuildDtl(
        {.rootPath = "/srv",
         .records = {DirectoryRecord("/"), FileRecord("x"), FileRecord("../y", {.size = 5})},
         .endMarker = true},
        &map);
    WriteFile(dir_ / "nfs", bytes);
    WriteFile(dir_ / "cut", bytes.substr(0, map.records[2]));
    WriteFile(dir_ / "text", std::string(500, 'x'));
    WriteDtl(dir_ / "empty", {.records = {}});
    WriteDtl(dir_ / "cifs", {.kind = ScanKind::kCifs, .records = {}});
  }

  TempDir dir_;
};

TEST_F(CommandLine, WrongUsageIsTold) {
  const std::string tag33(33, 't'), shard = "--shard is I/N with I from 1 to N, not ",
                                    noField = "rows of this scan have no field ";
  // clang-format off
  const std::pair<std::string, std::string> rows[] = {
      {"mkdtl", "no command"},
      {"mkdtl walk", "unknown command: walk"},
      {"mkdtl scan a b c", "'scan' needs a directory and a result file"},
      {"mkdtl scan . -", "a scan cannot be written to standard output"},
      {"mkdtl scan --jobs 0 . x", "--jobs is a number from 1 to 1000, not 0"},
      {"mkdtl scan --exclude '' . x", "--exclude needs a pattern"},
      {"mkdtl scan --tag " + tag33 + " . x", "--tag has more than 32 characters: " + tag33},
      {"mkdtl scan --tag a/b . x",
       "no tag (empty, a blank in front, '/', '|' or control characters): a/b"},
      {"mkdtl scan --root \xFF . x", "--root cannot be shown: \xFF"},
      {"mkdtl synth --kind nfs x", "'synth' needs --kind and --records"},
      {"mkdtl synth --kind nfs --records 1", "'synth' needs one result file"},
      {"mkdtl synth --kind smb --records 1 x", "--kind is nfs or cifs, not smb"},
      {"mkdtl synth --kind nfs --records 0 x", "not a number of records: 0"},
      {"mkdtl synth --records 1 --seed 2x x", "not a seed: 2x"},
      {"dtlexport nfs", "--format is needed"},
      {"dtlexport --format csv", "one scan is needed"},
      {"dtlexport --format xml nfs", "--format is csv, ndjson or paths0, not xml"},
      {"dtlexport --format ndjson --guard nfs", "--guard does not go with this --format"},
      {"dtlexport --format paths0 --relative nfs", "--relative does not go with this --format"},
      {"dtlexport --format paths0 --fields path nfs", "--fields does not go with this --format"},
      {"dtlexport --format csv --shard 0/2 nfs", shard + "0/2"},
      {"dtlexport --format csv --shard 3/2 nfs", shard + "3/2"},
      {"dtlexport --format csv --shard 1/2x nfs", shard + "1/2x"},
      {"dtlexport --format csv --fields path, nfs", noField + "'', but "},
      {"dtlexport --format csv --fields attrs nfs", noField + "'attrs'"},
      {"dtlexport --format csv --fields uid,uid nfs", "field 'uid' is named twice"},
      {"dtldu nfs nfs nfs", "a scan is needed, or two: the newer one first"},
      {"dtldu -", "a scan is a file; standard input cannot be read as one"},
      {"dtldu --format xml nfs", "--format is one of text, csv, ndjson, ncdu, not xml"},
      {"dtldu --top 9x nfs", "--top takes a number, not 9x"},
      {"dtldu --by growth nfs", "--by growth needs an older scan"},
      {"dtldu --by oldest nfs", "--by oldest goes with --files only"},
      {"dtldu --files 0 nfs", "--files takes a number above 0"},
      {"dtldu --files 1 --by own nfs", "--files goes by bytes, newest or oldest"},
      {"dtldu --files 1 --top 1 nfs", "--depth and --top do not go with --files"},
      {"dtldu --files 1 nfs nfs", "--files takes one scan; dtldiff "},
      {"dtldu --format ncdu nfs nfs", "--format ncdu takes one scan"},
      {"dtldu --format ncdu --top 1 nfs", "--format ncdu shows everything; --depth, "},
      {"dtldiff nfs", "two scans are needed, the older one first"},
      {"dtldiff --only grew, nfs nfs", "--only knows no kind "},
      {"dtldiff --summary --format paths0 nfs nfs", "--summary does not go with --format paths0"},
  };
  // clang-format on
  for (const auto& [command, problem] : rows) {
    const RunResult run = RunShell(dir_, command);
    const std::string name = command.substr(0, command.find(' '));
    EXPECT_EQ(run.status, 2) << command;
    EXPECT_EQ(run.out, "");
    EXPECT_THAT(run.err, StartsWith(name + ": " + problem));
    EXPECT_THAT(run.err, testing::EndsWith("\nTry '" + name + " --help'.\n"));
  }
  EXPECT_THAT(dir_.Entries(), testing::ElementsAre("cifs", "cut", "empty", "nfs", "text"));
}

TEST_F(CommandLine, WhatCannotBeReadOrWrittenIsTold) {
  const std::string none = "Unable to open scan detail file 'none'\n";
  const std::string full = "Error writing the rows\n  (p28) No space left on device\n";
  const std::string noDir = "The scan has no directory '/srv/d'\n";
  const std::string synth = "mkdtl synth --kind nfs --records 9 ", cannot = "mkdtl: cannot write '";
  const std::string csv = "dtlexport --format csv ";
  // clang-format off
  const std::tuple<int, std::string, std::string> rows[] = {
      {1, "mkdtl scan /no d", "mkdtl: cannot open directory '/no': No such file or directory\n"},
      {1, "mkfifo pipe; " + synth + "pipe", cannot + "pipe': it is there and no regular file\n"},
      {1, synth + "no/d", cannot + "no/d': No such file or directory\n"},
      {1, csv + "none", none},
      {1, csv + "text", "'text' is not a valid Trawlix detail log file\n"},
      {1, csv + "--where 'attrs includes H' nfs", "Syntax error: attrs includes H\n"},
      {1, csv + "nfs > /dev/full", full},
      {1, csv + "nfs >&-", "Error writing the rows\n  (p9) Bad file descriptor\n"},
      {1, "(" + synth + "--records 5000 big) > log; ulimit -f 100; " + csv + "big > rows",
       "Error writing the rows\n  (p27) File too large\n"},
      {1, "dtldu --dir /srv/d nfs", noDir},
      {1, "dtldu --dir /srv/d --files 1 nfs", noDir},
      {1, "dtldu --dir /srv/d --format ncdu nfs", noDir},
      {1, "dtldu nfs cifs", "'cifs' is a scan of another kind than 'nfs'\n"},
      // Like diff(1), it has status 1 for another purpose.
      {2, "dtldiff none nfs", none},
      {2, "dtldiff --where size nfs nfs", "Syntax error: size\n"},
      {2, "dtldiff nfs cifs", "'nfs' is a scan of another kind than 'cifs'\n"},
      {2, "dtldiff nfs cut", "'cut' breaks off; there is nothing to compare\n"},
      {2, "dtldiff cut nfs", "'cut' breaks off; there is nothing to compare\n"},
      {2, "dtldiff --format paths0 --top 1 empty nfs", "left out, its name holds a separator: '"},
      {2, "dtldiff empty nfs > /dev/full", full},
  };
  // clang-format on
  for (const auto& [status, command, problem] : rows) {
    const RunResult run = RunShell(dir_, command);
    EXPECT_EQ(run.status, status) << command;
    EXPECT_EQ(run.out, "");
    EXPECT_THAT(run.err, StartsWith(problem));
  }
  EXPECT_FALSE(std::filesystem::exists(dir_ / "d"));
}

TEST_F(CommandLine, HelpAndVersionAreShown) {
  for (const std::string name : {"mkdtl", "mkdtl scan", "dtlexport", "dtldu", "dtldiff"}) {
    const std::string program = name.substr(0, name.find(' '));
    for (const std::string help : {" --help", " -h"}) {
      const RunResult run = RunShell(dir_, name + help);
      EXPECT_EQ(run.status, 0);
      EXPECT_THAT(run.out, StartsWith("usage: " + program + " "));
    }
    EXPECT_THAT(RunShell(dir_, name + " --version").out,
                testing::MatchesRegex(program + " [0-9]+\\.[0-9]+\\.[0-9]+\n"));
  }
}

}  // namespace
}  // namespace tabulon
