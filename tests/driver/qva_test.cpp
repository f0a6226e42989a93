// The QVA output file: its name, its first line, and the reports that follow under their tags.
#include "driver/configrun.h"

namespace tabulon {
namespace {

using testing::ElementsAre;

ScanSpec TaggedScan(ScanKind kind) {
  const auto file = [](const char* name, uint32_t modified) {
    return FileRecord(name, {.created = 1, .accessed = 3, .modified = modified, .size = 10});
  };
  const bool nfs = kind == ScanKind::kNfs;
  return {.kind = kind,
          .revision = 7,
          .scanTime = March(9),
          .flags = kHeaderQvaTagged,
          .server = "filer",
          .rootPath = nfs ? "/srv/data" : "\\\\filer\\data",
          .host = "nas7",
          .tag = PaddedTag("Q1"),
          .availableSpace = 3,
          .volumeCapacity = 1ULL << 33,
          .records = {DirectoryRecord(nfs ? "/" : "\\"), file("a.dat", 2), file("b.dat", 2),
                      file("\u20AC\u00E9", 4)}};
}

constexpr const char* kOneReport = "[report]\ntype=offline\nformat=none\n";

// The name tells of the scan's root; on Windows, so does the line's third field.
TEST(QvaFile, IsNamedAfterTagHostAndRoot) {
  constexpr auto kCifs = ScanKind::kCifs;
  constexpr auto kNfs = ScanKind::kNfs;
  const struct {
    ScanKind kind;
    const char* root;
    std::optional<std::string> qvaRoot;
    const char* name;
    const char* field;
  } rows[] = {
      {kCifs, "D:\\", "anything", "Ddrive", "D:\\"},
      {kCifs, "D:\\home", {}, "Ddrive", "D:\\home"},
      {kCifs, "D:\\home\\all", "users", "users", "users"},
      {kCifs, "D:\\home", "E:\\x", "Edrive", "E:\\x"},
      // The last component over the start of the old text, blanks over the rest of it.
      {kCifs, "\\\\filer\\data", {}, "data        ", "data        "},
      {kCifs, "E:\\home", "\\\\srv\\all", "home     ", "home     "},
      {kCifs, "E:\\home", "homes\\all\\", "homes-all", "homes\\all\\"},
      {kNfs, "/srv/data", {}, "srv-data", "/srv/data"},
      {kNfs, "/srv/data/", {}, "srv-data", "/srv/data/"},
      {kNfs, "/", {}, "", "/"},
      {kNfs, "/srv", "//a//b", "-a--b", "//a//b"},
      {kNfs, "/srv", "\\a", "\\a", "\\a"},
      {kNfs, "/srv", "c:rest", "cdrive", "c:rest"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(std::string(row.root) + ", " + row.qvaRoot.value_or("none"));
    ScanSpec scan = TaggedScan(row.kind);
    scan.rootPath = row.root;
    scan.qvaRoot = row.qvaRoot;
    const RunOutcome outcome = RunOnScan({scan, kOneReport, {"-qva"}});
    const std::string name = std::string("Q1_nas7_") + row.name;
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.out, "ProcessConfigFile DONE\nQVA output written to: reports/" + name + "\n");
    EXPECT_EQ(outcome.err, "");
    EXPECT_THAT(outcome.temp, testing::IsEmpty());
    EXPECT_THAT(outcome.reports,
                ElementsAre(testing::Pair(name, std::string("Q1|nas7|") + row.field +
                                                    (row.kind == kCifs ? "|CIFS" : "|NFS") +
                                                    "|filer|1709942400|8589934592|3|30|1|3\n")));
  }
}

TEST(QvaFile, HoldsTheReportsUnderTheirTags) {
  const std::string reports = R"([report]
type = custom
qvatag = files
title = Files
reportfile = never.txt
totals = yes
[report]
type = custom
format = csv
fields = size,mdate
nameform = fullpath
[report]
type = duplicates
qvatag = twice
totals = yes
[report]
type = filetypes
qvatag = types
format = csv
[report]
type = custom
qvatag = counted only
format = none
title = Counted
totals = yes
[report]
type = custom
inactive = yes
qvatag = off
[report]
type = totals
format = csv
[report]
type = summary
qvatag = summary
format = csv
fields = tag,root,files
)";
  const std::string text = R"(Q1|nas7|/srv/data|NFS|filer|1709942400|8589934592|3|30|1|3
[[QVA]]:summary
Q1,/srv/data,3
[[QVA]]:files

---- Files ----

In directory: /srv/data
  a.dat
  b.dat
  EUROé
Full path,File size,Modify date
/srv/data/a.dat,10,2
/srv/data/b.dat,10,2
/srv/data/EUROé,10,4
[[QVA]]:twice
a.dat|10|2|1|3|2
[[QVA]]:types
.dat,2,20
[[QVA]]:counted only
Files,3,30
Duplicate file report,1,10
Counted,3,30
)";
  // The sign takes more than 16 bits as it is held here.
  const auto with = [](std::string lines, const std::string& euro) {
    for (size_t at; (at = lines.find("EURO")) != std::string::npos;) lines.replace(at, 4, euro);
    return lines;
  };
  const struct {
    const char* parameter;
    std::string file;
  } rows[] = {
      {"", with(text, "\U000E20AC")},
      {"textoutput = unicode\n", AsUnicodeFile(with(text, "?")).substr(2)},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.parameter);
    const RunOutcome outcome =
        RunOnScan({TaggedScan(ScanKind::kNfs),
                   std::string("[parameters]\ndateformat=%n\n") + row.parameter + reports,
                   {"-qva"}});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.err, "");
    EXPECT_EQ(outcome.out,
              "ProcessConfigFile DONE\nQVA output written to: reports/Q1_nas7_srv-data\n");
    EXPECT_THAT(outcome.reports, ElementsAre(testing::Pair("Q1_nas7_srv-data", row.file)));
    EXPECT_THAT(outcome.temp, testing::IsEmpty());
  }
}

// The root that the name is made of shows in the summary, too.
TEST(QvaFile, ChangesTheRootOfWindowsScans) {
  const std::string config = "[report]\ntype=summary\nformat=csv\nfields=root,type\n";
  const std::string line =
      "Q1|nas7|data        |CIFS|filer|1709942400|8589934592|3|30|1|3\ndata        ,CIFS\n";
  EXPECT_THAT(RunOnScan({TaggedScan(ScanKind::kCifs), config, {"-qva"}}).reports,
              ElementsAre(testing::Pair("Q1_nas7_data        ", line)));
  EXPECT_EQ(RunOnScan({TaggedScan(ScanKind::kCifs), config}).out,
            "ProcessConfigFile DONE\n\\\\filer\\data,CIFS\n");
}

TEST(QvaFile, ThatCannotBeMadeEndsTheRun) {
  ScanSpec scan = TaggedScan(ScanKind::kCifs);
  scan.host = "no/where";
  const RunOutcome outcome = RunOnScan({scan, kOneReport, {"-qva"}});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(outcome.err.substr(0, outcome.err.find('\n') + 1),
            "Unable to create QVA output file 'reports/Q1_no/where_data        '\n");
  EXPECT_THAT(outcome.temp, testing::IsEmpty());
}

// Without a configuration there is no such file: the list log takes the summary, or the listing.
TEST(QvaFile, IsForConfigurationsOnly) {
  const ScanSpec scan = TaggedScan(ScanKind::kNfs);
  const RunOutcome summary = RunOnScan({scan, "", {"-qva"}});
  EXPECT_EQ(summary.status, 0);
  EXPECT_EQ(summary.out.substr(0, 43), "\n\nVelmora Filesystem Audit Summary Report\n\n");
  EXPECT_THAT(summary.beside, testing::IsEmpty());
  const RunOutcome query = RunOnScan({scan, "", {"-qva", "-qf", "name is a.dat"}});
  EXPECT_EQ(query.out, "/srv/data/a.dat\n");
  EXPECT_THAT(query.beside, testing::IsEmpty());
}

}  // namespace
}  // namespace tabulon
