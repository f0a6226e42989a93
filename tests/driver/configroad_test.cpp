// The road from a configuration file to its reports: which of them run, where they go, what else
// the options add, and how a run ends that cannot go on.
#include "driver/configrun.h"
#include "tools/dtlcompress.h"

namespace tabulon {
namespace {

using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;
using testing::Key;
using testing::MatchesRegex;

ScanSpec SmallScan(ScanKind kind = ScanKind::kNfs) {
  return {.kind = kind,
          .revision = 7,
          .rootPath = kind == ScanKind::kNfs ? "/srv" : "C:\\srv",
          .records = {DirectoryRecord(kind == ScanKind::kNfs ? "/" : "\\"),
                      FileRecord("a.txt", {.size = 7}), FileRecord("b.txt", {.size = 7}),
                      FileRecord("A.TXT", {.size = 8})},
          .descriptors = {"descriptor"}};
}

// A listing of everything, without a title.
std::string Listing(const std::string& more) {
  return "[report]\ntype=custom\ntitle=none\nnameform=fullpath\n" + more;
}
const std::string kListed = "/srv/a.txt\n/srv/b.txt\n/srv/A.TXT\n";

TEST(ConfigurationRoad, CategoriesChooseReports) {
  const std::string config = Listing("reportfile=always\n") +
                             Listing("category=Weekly,all files\nreportfile=weekly\n") +
                             Listing("category=monthly\nreportfile=monthly\n") +
                             Listing("category=monthly\ninactive=yes\nreportfile=never\n") +
                             Listing("inactive=yes\ncategory=monthly\nreportfile=nor this\n");
  const struct {
    std::vector<std::string> options;
    std::vector<std::string> files;
  } rows[] = {
      {{}, {"always"}},
      {{"-cat", "weekly"}, {"always", "weekly"}},
      {{"-cat", "MONTHLY"}, {"always", "monthly"}},
      {{"-cat", "month"}, {"always"}},
      {{"-cat", "all files"}, {"always", "weekly"}},
      {{"-cat", "weekly", "-cat", "monthly"}, {"always", "monthly", "weekly"}},
      {{"-cat", "yearly", "-cat", "All"}, {"always", "monthly", "weekly"}},
  };
  for (const auto& row : rows) {
    const RunOutcome outcome = RunOnScan({SmallScan(), config, row.options});
    std::vector<std::string> files;
    for (const auto& [file, text] : outcome.reports) {
      files.push_back(file);
      EXPECT_EQ(text, kListed);
    }
    EXPECT_THAT(files, ElementsAreArray(row.files)) << testing::PrintToString(row.options);
  }
}

// A run in a directory with the scan and this configuration, without any option but these.
RunResult RunPlainly(const TempDir& dir, const std::string& config,
                     std::vector<std::string> options = {}) {
  WriteDtl(dir / "trawlx.dtl", SmallScan());
  WriteFile(dir / "run.cfg", config);
  options.insert(options.end(), {"-cfg", "run.cfg"});
  RunResult result =
      RunTabulon(options, {.env = {{"TZ", "UTC"}, {"LC_ALL", "C.UTF-8"}}, .cwd = dir.path()});
  result.err = WithoutScanTime(result.err);
  return result;
}

TEST(ConfigurationRoad, ReportsGoWhereTheyAreSent) {
  const std::string toFile = Listing("reportfile=r\n");
  const struct {
    const char* about;
    std::string config;
    std::vector<std::string> options;
    std::string out;
    std::string err;
    std::vector<std::string> entries;
  } rows[] = {
      {"the working directory",
       toFile,
       {},
       "ProcessConfigFile DONE\nReport 'none' written to r\n",
       "ReportDir is NULL\nPath = r\n",
       {"r", "run.cfg", "trawlx.dtl"}},
      {"the configuration's directory, the first that is named",
       "[parameters]\nreportdirectory=one\nReportDirectory=two\n" + toFile,
       {},
       "ProcessConfigFile DONE\nReport 'none' written to one/r\n",
       "Path = one/r\n",
       {"one", "run.cfg", "trawlx.dtl"}},
      {"the command line's directory",
       "[parameters]\nreportdirectory=one\n" + toFile,
       {"-rdir", "three"},
       "ProcessConfigFile DONE\nReport 'none' written to three/r\n",
       "Path = three/r\n",
       {"run.cfg", "three", "trawlx.dtl"}},
      {"the list log, without a word",
       Listing("") + "[report]\ntype=totals\ntitle=T\n",
       {},
       "ProcessConfigFile DONE\n" + kListed + "\n---- T ----\n\n",
       "ReportDir is NULL\n",
       {"run.cfg", "trawlx.dtl"}},
      {"the list log, in its encoding with the line ends of unicode text",
       "[parameters]\ntextoutput=unicode\n" + Listing("filter=size eq 8\n"),
       {},
       "ProcessConfigFile DONE\n/srv/A.TXT\r\n",
       "ReportDir is NULL\n",
       {"run.cfg", "trawlx.dtl"}},
      {"a list file",
       Listing("") + toFile,
       {"-l", "list", "-e", "errors", "-rdir", "."},
       "ProcessConfigFile DONE\n",
       "Path = ./r\n",
       {"errors", "list", "r", "run.cfg", "trawlx.dtl"}},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.about);
    const TempDir dir;
    const RunResult result = RunPlainly(dir, row.config, row.options);
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.out, row.out);
    EXPECT_EQ(result.err, row.err);
    EXPECT_THAT(dir.Entries(), ElementsAreArray(row.entries));
    if (row.entries[1] == "list") {
      EXPECT_EQ(ReadFile(dir / "list"), kListed + "Report 'none' written to ./r\n");
    }
  }
}

// Whatever cannot go on ends with the reason before a report is written, and takes its temporary
// files along.
TEST(ConfigurationRoad, FaultsEndTheRun) {
  const std::string listing = Listing("reportfile=ok\n");
  const struct {
    ScanKind kind;
    std::string config;
    std::string err;
  } rows[] = {
      {ScanKind::kNfs, listing + "lines=many\n", "Invalid report definition keyword: lines\n"},
      {ScanKind::kCifs, listing + "filter=size gt\n",
       "Syntax error: size gt\n   in position 7 - incomplete query specification\n"},
      {ScanKind::kNfs, listing + "[report]\ntype=siduse\n",
       "Report type 'siduse' is only valid for CIFS scans\n"},
      {ScanKind::kCifs, listing + "[report]\ntype=GIDTotals\n",
       "Report type 'GIDTotals' is only valid for NFS scans\n"},
      {ScanKind::kNfs, listing + "fields=ads\n",
       "In report: none\n  CSV field type 'ads' is only valid for CIFS detail files\n"},
      {ScanKind::kCifs, listing + "fields=uid\n",
       "In report: none\n  CSV field type 'uid' is only valid for NFS detail files\n"},
      {ScanKind::kCifs, listing + "[report]\ntype=subdircount\n",
       "This dtl does not support subdirectory counts. Please remove subdircount report type from "
       "the config file, or execute another scan with the latest version of trawlix."},
      {ScanKind::kCifs, listing + Listing("reportfile=no/such\n"),
       "Unable to create report file 'reports/no/such'\n  (p2) No such file or directory\n"},
      {ScanKind::kCifs, "[parameters]\n", "No reports specified in configuration file\n"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.err);
    const RunOutcome outcome = RunOnScan({SmallScan(row.kind), row.config});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(outcome.err, row.err);
    for (const auto& [file, text] : outcome.reports) EXPECT_EQ(text, "") << file;
    EXPECT_THAT(outcome.temp, IsEmpty());
  }
  const RunOutcome missing = RunOnScan({SmallScan(), "", {"-cfg", "none.cfg"}});
  EXPECT_EQ(missing.status, 1);
  EXPECT_EQ(missing.err,
            "Cannot open configuration file 'none.cfg'  (p2) No such file or directory\n");
}

// The summary comes first, then SID use, the rest as the file has it. A report that lists nothing
// is not told of.
TEST(ConfigurationRoad, DebugLogTellsOfEachReport) {
  const TempDir dir;
  WriteDtl(dir / "x.dtl", SmallScan(ScanKind::kCifs));
  WriteFile(dir / "run.cfg",
            Listing("format=none\n") + Listing("") +
                "[report]\ntype=duplicates\n[report]\ntype=filetypes\n[report]\ntype=totals\n"
                "format=none\n[report]\ntype=siduse\n[report]\ntype=summary\n");
  const RunResult run = RunTabulon({"-dtl", "x.dtl", "-cfg", "run.cfg", "-debug", "4"},
                                   {.env = {{"LC_ALL", "C.UTF-8"}}, .cwd = dir.path()});
  EXPECT_EQ(run.status, 0);
  const std::string log = ReadFile(dir / "TabulonDebug.log");
  std::string doing;
  for (size_t at = 0; (at = log.find("Doing", at)) != std::string::npos; ++at) {
    doing += log.substr(at, log.find('\n', at) + 1 - at);
  }
  EXPECT_EQ(doing,
            "Doing SummaryReport.\nDoing DisplaySidUse Report.\nDoing DisplayReport.\n"
            "Doing DuplicateReport.\nDoing FiletypeReport.\nDoing TotalsReport.\n");
}

TEST(ConfigurationRoad, ReportsWithoutAFormatAreCounted) {
  ExpectReports({SmallScan(), Listing("format=none\ntotals=yes\nreportfile=empty\n") +
                                  "totaltag=All\n[report]\ntype=summary\nformat=none\ntotals=yes\n"
                                  "reportfile=summary\n[report]\ntype=totals\nformat=csv\n"
                                  "reportfile=totals\n[report]\ntype=symlinks\ntotals=yes\n"
                                  "totals=no\nformat=none\n"},
                {{"summary", "Audit summary", R"(

Velmora Filesystem Audit Summary Report

Source file: scan.dtl, Created: Thu, 01 Jan, 1970 at 00:00:00

Server: server
---- Totals for NFS root: /srv (local filesystem)

       Directories: 1
             Files: 3
   Total file size: 22 bytes
   Volume capacity: 0 bytes
   Available space: 0 bytes

)",
                  2},
                 {"empty", "none", "", 0},
                 {"totals", "Report totals", "Audit summary,0,0\nAll,3,22\n"}});
}

// Only listings take "none" for no title at all.
TEST(ConfigurationRoad, TitlesMayBeNone) {
  std::string config;
  std::vector<WrittenReport> reports;
  const std::string title = "\n---- none ----\n\n";
  for (const auto& [type, text] : std::vector<std::pair<std::string, std::string>>{
           {"symlinks", ""}, {"uidtotals", title}, {"duplicates", title}, {"totals", title}}) {
    config += "[report]\ntype=" + type + "\ntitle=none\nfilter=size eq 0 [and] size gt 0\n" +
              "reportfile=" + type + "\n";
    reports.push_back({type, "none", text});
  }
  ExpectReports({SmallScan(), config}, reports);
}

// Files ahead of the first directory are in none: they have no heading, and a path of their own.
TEST(ConfigurationRoad, FilesMayComeBeforeDirectories) {
  const ScanSpec scan{.revision = 7,
                      .rootPath = "/srv",
                      .records = {FileRecord("early"), DirectoryRecord("/"), FileRecord("late")}};
  ExpectReports(
      {scan, Listing("reportfile=paths\n") + Listing("nameform=fileindir\nreportfile=names\n")},
      {{"paths", "none", "/early\n/srv/late\n"},
       {"names", "none", "  early\nIn directory: /srv\n  late\n"}});
}

// Extensions of a class count in any case on Windows; templates do everywhere.
TEST(ConfigurationRoad, ClassesSelectByExtension) {
  const std::string config =
      "[classes]\nDocs=.txt,htm?,\n" +
      Listing("filter=class is DOCS\nreportfile=is\npathform=relative\n") +
      Listing("filter=class isnot docs\nreportfile=isnot\npathform=relative\n");
  for (const ScanKind kind : {ScanKind::kNfs, ScanKind::kCifs}) {
    const bool nfs = kind == ScanKind::kNfs;
    ScanSpec scan = SmallScan(kind);
    for (const char* name : {"c.HTML", "d.htm", "ends.", "none"}) {
      scan.records.push_back(FileRecord(name));
    }
    const auto paths = [&](std::vector<std::string> names) {
      std::string lines;
      for (const std::string& name : names) lines += (nfs ? "/" : "\\") + name + "\n";
      return lines;
    };
    ExpectReports({scan, config},
                  {{"is", "none",
                    nfs ? paths({"a.txt", "b.txt", "c.HTML", "ends."})
                        : paths({"a.txt", "b.txt", "A.TXT", "c.HTML", "ends."})},
                   {"isnot", "none", nfs ? paths({"A.TXT", "d.htm"}) : paths({"d.htm"})}});
  }
}

// Unicode text goes out in pieces of at most 511 characters; the rest of a longer piece is lost.
TEST(ConfigurationRoad, LongPiecesOfUnicodeTextAreCut) {
  ScanSpec scan{.revision = 7, .records = {DirectoryRecord("/")}};
  scan.records.push_back(
      LinkRecord(std::string(510, 'f') + "\u00E9gh", std::string(600, 't'), {.size = 1}));
  const std::string config = Listing("showlink=yes\nreportfile=a\n") +
                             Listing("format=csv\nfields=size,target\nreportfile=b\n");
  const std::string name = std::string(510, 'f'), target(600, 't');
  ExpectReports({scan, "[parameters]\ncsvhdrs=no\n" + config},
                {{"a", "none", "/" + name + "\u00E9gh  =>  " + target + "\n"},
                 {"b", "none", "/" + name + "\u00E9gh,1," + target + "\n"}});
  ExpectReports({scan, "[parameters]\ncsvhdrs=no\ntextoutput=unicode\n" + config},
                {{"a", "none", AsUnicodeFile("/" + name + "  =>  " + target.substr(0, 505) + "\n")},
                 {"b", "none", AsUnicodeFile("/" + name + ",1," + target.substr(0, 510) + "\n")}});
}

// After the reports a scan that was compressed is compressed again; after a query it is not.
TEST(ConfigurationRoad, CompressedScansAreCompressedAgain) {
  const std::string plain = BuildDtl(SmallScan());
  const std::string packed = CompressDtl(plain);
  const TempDir dir;
  WriteFile(dir / "x.dtl", packed);
  WriteFile(dir / "run.cfg", Listing(""));
  const RunOptions options{.env = {{"LC_ALL", "C.UTF-8"}}, .cwd = dir.path()};
  EXPECT_EQ(
      RunTabulon({"-dtl", "x.dtl", "-cfg", "run.cfg"}, options).out,
      "Decompressing DTL file\nProcessConfigFile DONE\n" + kListed + "Compressing DTL file\n");
  EXPECT_EQ(ReadFile(dir / "x.dtl"), packed);
  EXPECT_EQ(RunTabulon({"-dtl", "x.dtl", "-qf", "type is file"}, options).out,
            "Decompressing DTL file\n" + kListed);
  EXPECT_EQ(ReadFile(dir / "x.dtl"), plain);
  EXPECT_THAT(dir.Entries(), ElementsAre("run.cfg", "x.dtl"));
}

TEST(ConfigurationRoad, ProgressIsMarked) {
  ScanSpec scan{.revision = 7, .records = {DirectoryRecord("/")}};
  scan.records.resize(51999, FileRecord("f"));
  const RunOutcome outcome = RunOnScan({scan, Listing("format=none\n"), {"-p"}});
  EXPECT_THAT(outcome.out, MatchesRegex("ProcessConfigFile DONE\n[*]{50} : 50000 [0-9:]{8}\n[*]"));
}

// The finder's files stay, numbered over all duplicates reports of the run.
TEST(ConfigurationRoad, DebugSwitchKeepsTheDuplicateFiles) {
  const std::string duplicates = "[report]\ntype=duplicates\ndupcheck=size\n";
  const RunOutcome outcome =
      RunOnScan({SmallScan(), duplicates + "title=A\n" + duplicates + "title=B\n", {"-z"}});
  EXPECT_EQ(outcome.out,
            "ProcessConfigFile DONE\nnew dup temp file: duptemp0.tmp\n"
            "new dup temp file: duptemp1.tmp\n"
            "\n---- A ----\n\nSize: 7\n  /srv\\a.txt\n  /srv\\b.txt\n\n"
            "\n---- B ----\n\nSize: 7\n  /srv\\a.txt\n  /srv\\b.txt\n\n");
  EXPECT_THAT(outcome.beside, ElementsAre("dupmerge.tmp", "duptemp0.tmp", "duptemp1.tmp"));
  EXPECT_THAT(outcome.temp, IsEmpty());
}

}  // namespace
}  // namespace tabulon
