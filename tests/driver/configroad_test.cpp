// The road from a configuration file to its reports: which of them run, where they go, what else
// the options add, and how a run ends that cannot go on.
#include "driver/configrun.h"

namespace tabulon {
namespace {

ScanSpec SmallScan(ScanKind kind = ScanKind::kNfs) {
  return {.kind = kind,
          .revision = 7,
          .rootPath = kind == ScanKind::kNfs ? "/srv" : "C:\\srv",
          .records = {DirectoryRecord(kind == ScanKind::kNfs ? "/" : "\\"),
                      FileRecord("a.txt", {.size = 7}), FileRecord("b.txt", {.size = 7}),
                      FileRecord("A.TXT", {.size = 8})},
          .descriptors = {"descriptor"}};
}

// The lines of a listing of everything, without a title.
const std::string kPaths = "type=custom;title=none;nameform=fullpath";
const std::string kListed = "/srv/a.txt\n/srv/b.txt\n/srv/A.TXT\n";

TEST(ConfigurationRoad, CategoriesChooseReports) {
  const std::string config = Section(kPaths + ";reportfile=always") +
                             Section(kPaths + ";category=Weekly,all files;reportfile=weekly") +
                             Section(kPaths + ";category=monthly;reportfile=monthly") +
                             Section(kPaths + ";category=monthly;inactive=yes;reportfile=never") +
                             Section(kPaths + ";inactive=yes;category=monthly;reportfile=nor this");
  // clang-format off
  const struct { std::vector<std::string> options; bool weekly, monthly; } rows[] = {
      {{}, false, false}, {{"-cat", "weekly"}, true, false}, {{"-cat", "MONTHLY"}, false, true},
      {{"-cat", "month"}, false, false}, {{"-cat", "all files"}, true, false},
      {{"-cat", "weekly", "-cat", "monthly"}, true, true},
      {{"-cat", "yearly", "-cat", "All"}, true, true},
  };
  // clang-format on
  for (const auto& row : rows) {
    std::map<std::string, std::string> files = {{"reports/always", kListed}};
    if (row.weekly) files["reports/weekly"] = kListed;
    if (row.monthly) files["reports/monthly"] = kListed;
    EXPECT_EQ(RunOnScan({SmallScan(), config, row.options}).files, files)
        << testing::PrintToString(row.options);
  }
}

TEST(ConfigurationRoad, ReportsGoWhereTheyAreSent) {
  const std::string toFile = Section(kPaths + ";reportfile=r");
  const std::string one = "[parameters]\nreportdirectory=one\nReportDirectory=two\n";
  // clang-format off
  const struct { std::string config, reportDir, file; } rows[] = {
      {toFile, "", "r"},
      {one + toFile, "", "one/r"},  // the first that is named
      {one + toFile, "three", "three/r"},
  };
  // clang-format on
  for (const auto& row : rows) {
    const RunOutcome outcome =
        RunOnScan({.scan = SmallScan(), .config = row.config, .reportDir = row.reportDir});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.out, "ProcessConfigFile DONE\nReport 'none' written to " + row.file + "\n");
    EXPECT_EQ(outcome.err,
              (row.file == "r" ? "ReportDir is NULL\n" : "") + ("Path = " + row.file + "\n"));
    EXPECT_THAT(outcome.files, ElementsAre(Pair(row.file, kListed)));
  }

  // Without a file the list log takes a report, and nothing is told of it.
  RunOutcome log = RunOnScan({SmallScan(),
                              Section(kPaths) + Section("type=totals;title=T") + toFile,
                              {"-l", "list", "-e", "errors"}});
  EXPECT_EQ(log.out, "ProcessConfigFile DONE\n");
  EXPECT_EQ(log.err, "Path = reports/r\n");
  EXPECT_THAT(log.files, ElementsAre(Pair("errors", ""),
                                     Pair("list", kListed + Heading("T") +
                                                      "Report 'none' written to reports/r\n"),
                                     Pair("reports/r", kListed)));

  // In its encoding, even for unicode text, but with the line ends of that.
  log = RunOnScan(
      {SmallScan(), "[parameters]\ntextoutput=unicode\n" + Section(kPaths + ";filter=size eq 8")});
  EXPECT_EQ(log.out, "ProcessConfigFile DONE\n/srv/A.TXT\r\n");
  EXPECT_THAT(log.files, IsEmpty());
}

// The summary comes first, then SID use, the rest as the file has it. A report that lists nothing
// is not told of.
TEST(ConfigurationRoad, DebugLogTellsOfEachReport) {
  std::string config = Section(kPaths) + Section(kPaths + ";format=none");
  for (const char* type : {"duplicates", "filetypes", "totals;format=none", "siduse", "summary"}) {
    config += Section(std::string("type=") + type);
  }
  RunOutcome outcome = RunOnScan({SmallScan(ScanKind::kCifs), config, {"-debug", "4"}});
  const std::string log = outcome.files["TabulonDebug.log"];
  std::string doing;
  for (size_t at = 0; (at = log.find("Doing", at)) != std::string::npos; ++at) {
    doing += log.substr(at, log.find('\n', at) + 1 - at);
  }
  EXPECT_EQ(doing,
            "Doing SummaryReport.\nDoing DisplaySidUse Report.\nDoing DisplayReport.\n"
            "Doing DuplicateReport.\nDoing FiletypeReport.\nDoing TotalsReport.\n");
}

TEST(ConfigurationRoad, ReportsFollowTheirLines) {
  const auto small = [](const char* type) {
    return std::string("type=") + type + ";title=none;filter=size gt 100";
  };
  // Only listings take "none" for no title at all. Reports without a format are counted.
  ExpectReports(
      {SmallScan()},
      {{small("symlinks"), "none", ""},
       {small("uidtotals"), "none", Heading("none")},
       {small("duplicates"), "none", Heading("none")},
       {kPaths + ";format=none;totals=yes;totaltag=All", "", ""},
       {"type=symlinks;totals=yes;totals=no;format=none", "", ""},
       {"type=custom;title=;filter=size gt 100", "", Heading("")},
       {"type=uidtotals;title=;filter=size gt 100", "", Heading("")},
       {"type=duplicates;title=;totaltag=;totals=yes;filter=size gt 100", "", Heading("")},
       {small("totals"), "none",
        Heading("none") + "All           3   22 bytes" + std::string(20, ' ') + "\n" +
            std::string(14, ' ') + "0   0 bytes" + std::string(21, ' ') + "\n"},
       {"type=totals;title=;format=csv", "", "All,3,22\n,0,0\n"}});
  // Files ahead of the first directory are in none: they have no heading, and a path of their own.
  ExpectReports(
      {{.revision = 7,
        .rootPath = "/srv",
        .records = {FileRecord("early"), DirectoryRecord("/"), FileRecord("late")}}},
      {{kPaths, "none", "/early\n/srv/late\n"},
       {kPaths + ";nameform=fileindir", "none", "  early\n" + InDirectory("/srv", {"late"})}});
  // Extensions of a class count in any case on Windows; templates do everywhere.
  for (const ScanKind kind : {ScanKind::kNfs, ScanKind::kCifs}) {
    ScanSpec scan = SmallScan(kind);
    for (const char* name : {"c.HTML", "d.htm", "ends.", "none", "e.xhtml"}) {
      scan.records.push_back(FileRecord(name));
    }
    ExpectReports({scan, "[classes]\nDocs=.txt,htm?,\n"},
                  {{kPaths + ";pathform=relative;filter=class is DOCS", "none",
                    kind == ScanKind::kNfs ? "/a.txt\n/b.txt\n/c.HTML\n/ends.\n"
                                           : "\\a.txt\n\\b.txt\n\\A.TXT\n\\c.HTML\n\\ends.\n"},
                   {"type=filetypes;format=csv;filter=size eq 0", "File type totals",
                    ".HTML,1,0\n.htm,1,0\n"}});
  }
}

// Unicode text goes out in pieces of at most 511 characters; the rest of a longer piece is lost.
TEST(ConfigurationRoad, LongPiecesOfUnicodeTextAreCut) {
  const std::string name(510, 'f'), target(600, 't'), whole = "/" + name + "\u00E9gh";
  const ScanSpec scan{
      .revision = 7,
      .records = {DirectoryRecord("/"), LinkRecord(whole.substr(1), target, {.size = 1})}};
  const std::string text = kPaths + ";showlink=yes",
                    csv = kPaths + ";format=csv;fields=size,target";
  const std::string parameters = "[parameters]\ncsvhdrs=no\n";
  ExpectReports({scan, parameters}, {{text, "none", whole + "  =>  " + target + "\n"},
                                     {csv, "none", whole + ",1," + target + "\n"}});
  ExpectReports(
      {scan, parameters + "textoutput=unicode\n"},
      {{text, "none", AsUnicodeFile("/" + name + "  =>  " + target.substr(0, 505) + "\n")},
       {csv, "none", AsUnicodeFile("/" + name + ",1," + target.substr(0, 510) + "\n")}});
}

// A compressed scan is left alone but by a query, which leaves it inflated.
TEST(ConfigurationRoad, CompressedScansStayAsTheyAre) {
  const std::string plain = BuildDtl(SmallScan());
  const std::string packed = CompressDtl(plain);
  const TempDir dir;
  WriteFile(dir / "x.dtl", packed);
  WriteFile(dir / "run.cfg", Section(kPaths));
  const RunOptions options{.env = {{"LC_ALL", "C.UTF-8"}}, .cwd = dir.path()};
  const std::string inflating = "Decompressing DTL file\n";
  EXPECT_EQ(RunTabulon({"-dtl", "x.dtl", "-cfg", "run.cfg"}, options).out,
            inflating + "ProcessConfigFile DONE\n" + kListed + "Compressing DTL file\n");
  EXPECT_EQ(ReadFile(dir / "x.dtl"), packed);
  EXPECT_EQ(RunTabulon({"-dtl", "x.dtl", "-qf", "type is file"}, options).out, inflating + kListed);
  EXPECT_EQ(ReadFile(dir / "x.dtl"), plain);
  EXPECT_THAT(dir.Entries(), ElementsAre("run.cfg", "x.dtl"));
}

TEST(ConfigurationRoad, ProgressIsMarked) {
  ScanSpec scan{.revision = 7, .records = {DirectoryRecord("/")}};
  scan.records.resize(51999, FileRecord("f"));
  const RunOutcome outcome = RunOnScan({scan, Section(kPaths + ";format=none"), {"-p"}});
  EXPECT_THAT(outcome.out, MatchesRegex("ProcessConfigFile DONE\n[*]{50} : 50000 [0-9:]{8}\n[*]"));
}

// The finder's files stay, numbered over all duplicates reports of the run.
TEST(ConfigurationRoad, DebugSwitchKeepsTheDuplicateFiles) {
  const std::string lines = "type=duplicates;dupcheck=size;title=";
  const RunOutcome outcome =
      RunOnScan({SmallScan(), Section(lines + "A") + Section(lines + "B"), {"-z"}});
  const std::string group = "Size: 7\n  /srv\\a.txt\n  /srv\\b.txt\n\n";
  EXPECT_EQ(outcome.out,
            "ProcessConfigFile DONE\nnew dup temp file: duptemp0.tmp\n"
            "new dup temp file: duptemp1.tmp\n" +
                Heading("A") + group + Heading("B") + group);
  EXPECT_THAT(outcome.files,
              ElementsAre(Key("dupmerge.tmp"), Key("duptemp0.tmp"), Key("duptemp1.tmp")));
}

}  // namespace
}  // namespace tabulon
