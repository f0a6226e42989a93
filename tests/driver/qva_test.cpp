// The QVA output file: its name, its first line, and the reports that follow under their tags.
#include "driver/configrun.h"

namespace tabulon {
namespace {

constexpr ScanKind kCifs = ScanKind::kCifs, kNfs = ScanKind::kNfs;

ScanSpec TaggedScan(ScanKind kind) {
  const auto file = [](const char* name, uint32_t modified) {
    return FileRecord(name, {.created = 1, .accessed = 3, .modified = modified, .size = 10});
  };
  const bool nfs = kind == ScanKind::kNfs;
  // clang-format off
  return {.kind = kind, .revision = 7, .scanTime = March(9), .flags = kHeaderQvaTagged,
          .server = "filer", .rootPath = nfs ? "/srv/data" : "\\\\filer\\data", .host = "nas7",
          .tag = PaddedTag("Q1"), .availableSpace = 3, .volumeCapacity = 1ULL << 33,
          .records = {DirectoryRecord(nfs ? "/" : "\\"), file("a.dat", 2), file("b.dat", 2),
                      file("\u20AC\u00E9", 4)}};
  // clang-format on
}

// The first line, with the root as it shows there: scan time, capacity, free space, bytes of the
// files, numbers of directories and files.
std::string FirstLine(ScanKind kind, const std::string& root) {
  return "Q1|nas7|" + root + (kind == kCifs ? "|CIFS" : "|NFS") +
         "|filer|1709942400|8589934592|3|30|1|3\n";
}

// The run has to write this file and tell of it, and nothing else.
void ExpectQvaFile(const ConfiguredRun& run, const std::string& name, const std::string& text) {
  const RunOutcome outcome = RunOnScan(run);
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.err, "");
  EXPECT_EQ(outcome.out, "ProcessConfigFile DONE\nQVA output written to: reports/" + name + "\n");
  EXPECT_THAT(outcome.files, ElementsAre(Pair("reports/" + name, text)));
}

// The name tells of the scan's root; on Windows, so do the line's third field and the summary.
TEST(QvaFile, IsNamedAfterTagHostAndRoot) {
  // clang-format off
  const struct {
    ScanKind kind; const char* root; std::optional<std::string> qvaRoot; std::string name, field;
  } rows[] = {
      {kCifs, R"(D:\)", "anything", "Ddrive", R"(D:\)"},
      {kCifs, R"(D:\home)", {}, "Ddrive", R"(D:\home)"},
      {kCifs, R"(D:\home\all)", "users", "users", "users"},
      {kCifs, R"(D:\home)", R"(E:\x)", "Edrive", R"(E:\x)"},
      // The last component over the start of the old text, blanks over the rest of it.
      {kCifs, R"(\\filer\data)", {}, "data        ", "data        "},
      {kCifs, R"(E:\home)", R"(\\srv\all)", "home     ", "home     "},
      {kCifs, R"(E:\home)", R"(homes\all\)", "homes-all", R"(homes\all\)"},
      {kNfs, "/srv/data", {}, "srv-data", "/srv/data"},
      {kNfs, "/srv/data/", {}, "srv-data", "/srv/data/"}, {kNfs, "/", {}, "", "/"},
      {kNfs, "/srv", "//a//b", "-a--b", "//a//b"}, {kNfs, "/srv", R"(\a)", R"(\a)", R"(\a)"},
      {kNfs, "/srv", "c:rest", "cdrive", "c:rest"},
  };
  // clang-format on
  for (const auto& row : rows) {
    SCOPED_TRACE(std::string(row.root) + ", " + row.qvaRoot.value_or("none"));
    ScanSpec scan = TaggedScan(row.kind);
    scan.rootPath = row.root;
    scan.qvaRoot = row.qvaRoot;
    ExpectQvaFile({scan, Section("type=summary;format=csv;fields=root"), {"-qva"}},
                  "Q1_nas7_" + row.name, FirstLine(row.kind, row.field) + row.field + "\n");
  }
}

TEST(QvaFile, HoldsTheReportsUnderTheirTags) {
  std::string sections;
  for (const char* lines : {"custom;qvatag=files;title=Files;reportfile=never.txt;totals=yes",
                            "custom;format=csv;fields=size,mdate;nameform=fullpath",
                            "duplicates;qvatag=;totals=yes", "filetypes;qvatag=types;format=csv",
                            "custom;qvatag=counted only;format=none;title=Counted;totals=yes",
                            "custom;inactive=yes;qvatag=off", "totals;format=csv",
                            "summary;qvatag=summary;format=csv;fields=tag,root,files"}) {
    sections += Section(std::string("type=") + lines);
  }
  const std::string text = FirstLine(kNfs, "/srv/data") + R"([[QVA]]:summary
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
[[QVA]]:
a.dat|10|2|1|3|2
[[QVA]]:types
.dat,2,20
[[QVA]]:counted only
Files,3,30
Duplicate file report,1,10
Counted,3,30
)";
  const std::string parameters = "[parameters]\ndateformat=%n\n", name = "Q1_nas7_srv-data";
  ExpectQvaFile({TaggedScan(kNfs), parameters + sections, {"-qva"}}, name, WithEuro(text));
  // The sign takes more than 16 bits as it is held here.
  ExpectQvaFile({TaggedScan(kNfs), parameters + "textoutput = unicode\n" + sections, {"-qva"}},
                name, AsUnicodeFile(WithEuro(text, "?")).substr(2));
}

// Without a configuration there is no such file: the list log takes the summary, or the listing.
// Without the option, the root is shown as it is.
TEST(QvaFile, TakesAConfigurationAndTheOption) {
  EXPECT_EQ(RunOnScan({TaggedScan(kCifs), Section("type=summary;format=csv;fields=root")}).out,
            "ProcessConfigFile DONE\n\\\\filer\\data\n");
  const ScanSpec scan = TaggedScan(kNfs);
  const RunOutcome summary = RunOnScan({.scan = scan, .options = {"-qva"}});
  EXPECT_EQ(summary.status, 0);
  EXPECT_THAT(summary.out, StartsWith("\n\nVelmora Filesystem Audit Summary Report\n\n"));
  EXPECT_THAT(summary.files, IsEmpty());
  const RunOutcome query = RunOnScan({.scan = scan, .options = {"-qva", "-qf", "name is a.dat"}});
  EXPECT_EQ(query.out, "/srv/data/a.dat\n");
  EXPECT_THAT(query.files, IsEmpty());
}

}  // namespace
}  // namespace tabulon
