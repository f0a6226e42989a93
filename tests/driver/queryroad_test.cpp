// Ad-hoc queries from the command line, on scans of both kinds.
#include "driver/configrun.h"

namespace tabulon {
namespace {

// clang-format off
ScanSpec UnixScan() {
  return {.revision = 7, .rootPath = "/srv",
          .records = {DirectoryRecord("/"), FileRecord("top", {.size = 1, .uid = 5}),
                      LinkRecord("link", "caf\u00E9/x"), DirectoryRecord("/caf\u00E9"),
                      FileRecord("x.txt", {.size = 3, .uid = 5, .links = 2}),
                      DirectoryRecord("/empty")}};
}

ScanSpec WindowsScan() {
  return {.kind = ScanKind::kCifs, .revision = 7, .rootPath = "C:\\",
          .records = {DirectoryRecord("\\"), FileRecord("top", {.attributes = 0x22, .size = 1}),
                      JunctionRecord("join", "D:\\x"), DirectoryRecord("\\sub"),
                      WithStreams(FileRecord("x.TXT", {.size = 3}), {{":s", 9}})},
          .descriptors = {"first", "second"}, .domains = {"CORP"},
          .sids = {{.sid = BinarySid(5, {1}), .name = "ann"}}};
}
// clang-format on

TEST(QueryRoad, ListsWhatTheQuerySelects) {
  const std::string top = "/srv/top\n", link = "/srv/link  =>  caf\u00E9/x\n",
                    low = "/srv/caf\u00E9/x.txt\n";
  // clang-format off
  const struct { ScanSpec scan; std::vector<std::string> options; std::string out; } rows[] = {
      {UnixScan(), {"-q", "size ge 0"},
       InDirectory("/srv", {"top", "link  =>  caf\u00E9/x"}) +
           InDirectory("/srv/caf\u00E9", {"x.txt"})},
      {UnixScan(), {"-qf", "size ge 0"}, top + link + low},
      {UnixScan(), {"-q", "type is dir"}, ""},  // directories are never listed
      {UnixScan(), {"-qf", "uid eq 5 [and] (links gt 1 [or] name is TOP)"}, top + low},
      {UnixScan(), {"-qf", "target matches CAF\u00E9/?"}, link},
      {UnixScan(), {"-qf", "path matches '~caf\u00E9\\*'"}, low},
      // A target that decodes to a zero unit is an empty text.
      {{.rootPath = "/", .records = {DirectoryRecord("/"), LinkRecord("void", "\xC0\x80x")}},
       {"-qf", "size ge 0"}, "/void\n"},
      // Of two queries the first kind counts, and full paths are given all the same.
      {UnixScan(), {"-qf", "no query", "-q", "name is top"}, top},
      // A configuration beside a query is not read.
      {UnixScan(), {"-cfg", "none.cfg", "-adsfull", "-qf", "name is top"}, top},
      {WindowsScan(), {"-q", "size ge 0"},
       InDirectory("C:\\", {"top", "join  =>  D:\\x"}) + InDirectory("C:\\sub", {"x.TXT"})},
      {WindowsScan(), {"-qf", "attrs includes ha [or] name matches *.txt"},
       "C:\\top\nC:\\sub\\x.TXT\n"},
      {WindowsScan(), {"-adsfull", "-qf", "name is x.txt"}, "C:\\sub\\x.TXT\nC:\\sub\\x.TXT:s\n"},
      {WindowsScan(), {"-qf", "acl includes CORP\\ann [or] name is top"}, "C:\\top\n"},
      {WindowsScan(), {"-qf", "acl excludes CORP\\eve [or] name is top"},
       "Unknown domain\\account: CORP\\eve\nC:\\top\n"},
  };
  // clang-format on
  for (const auto& row : rows) {
    SCOPED_TRACE(testing::PrintToString(row.options));
    const RunOutcome outcome = RunOnScan({.scan = row.scan, .options = row.options});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.out, row.out);
    EXPECT_EQ(outcome.err, "");
    // The descriptors of a Windows scan stay behind, and nothing else does.
    if (row.scan.kind == ScanKind::kNfs) {
      EXPECT_THAT(outcome.files, IsEmpty());
    } else {
      EXPECT_THAT(outcome.files, ElementsAre(Key(StartsWith("temp/sdtem"))));
    }
  }
}

// Without log files the query is written once; with them it goes to both, the reason to the error
// log and the console.
TEST(QueryRoad, BadQueriesEndTheRun) {
  const std::string query = "uid eq 1", first = "Syntax error: " + query + "\n",
                    second = "   in position 4 - object 'uid' not valid with CIFS scans\n";
  RunOutcome outcome = RunOnScan({.scan = WindowsScan(), .options = {"-qf", query}});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(outcome.out, "");
  EXPECT_EQ(outcome.err, first + second);
  EXPECT_THAT(outcome.files, IsEmpty());
  outcome =
      RunOnScan({.scan = WindowsScan(), .options = {"-q", query, "-l", "list", "-e", "errors"}});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(outcome.out, "");
  EXPECT_EQ(outcome.err, second);
  EXPECT_THAT(outcome.files, ElementsAre(Pair("errors", first + second), Pair("list", first)));
}

}  // namespace
}  // namespace tabulon
