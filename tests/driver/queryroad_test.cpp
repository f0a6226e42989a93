// Ad-hoc queries from the command line, on scans of both kinds.
#include "driver/configrun.h"

namespace tabulon {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

ScanSpec UnixScan() {
  return {.revision = 7,
          .rootPath = "/srv",
          .records = {DirectoryRecord("/"), FileRecord("top", {.size = 1, .uid = 5}),
                      LinkRecord("link", "caf\u00E9/x"), DirectoryRecord("/caf\u00E9"),
                      FileRecord("x.txt", {.size = 3, .uid = 5, .links = 2}),
                      DirectoryRecord("/empty")}};
}

ScanSpec WindowsScan() {
  return {.kind = ScanKind::kCifs,
          .revision = 7,
          .rootPath = "C:\\",
          .records = {DirectoryRecord("\\"), FileRecord("top", {.attributes = 0x22, .size = 1}),
                      JunctionRecord("join", "D:\\x"), DirectoryRecord("\\sub"),
                      WithStreams(FileRecord("x.TXT", {.size = 3}), {{":s", 9}})},
          .descriptors = {"first", "second"},
          .domains = {"CORP"},
          .sids = {{.sid = BinarySid(5, {1}), .name = "ann"}}};
}

TEST(QueryRoad, ListsWhatTheQuerySelects) {
  const std::string all =
      "In directory: /srv\n  top\n  link  =>  caf\u00E9/x\n"
      "In directory: /srv/caf\u00E9\n  x.txt\n";
  const struct {
    ScanSpec scan;
    std::vector<std::string> options;
    std::string out;
  } rows[] = {
      {UnixScan(), {"-q", "size ge 0"}, all},
      {UnixScan(),
       {"-qf", "size ge 0"},
       "/srv/top\n/srv/link  =>  caf\u00E9/x\n/srv/caf\u00E9/x.txt\n"},
      {UnixScan(), {"-q", "type is dir"}, ""},  // directories are never listed
      {UnixScan(),
       {"-qf", "uid eq 5 [and] (links gt 1 [or] name is TOP)"},
       "/srv/top\n/srv/caf\u00E9/x.txt\n"},
      {UnixScan(), {"-qf", "target matches CAF\u00E9/?"}, "/srv/link  =>  caf\u00E9/x\n"},
      {UnixScan(), {"-qf", "path matches '~caf\u00E9\\*'"}, "/srv/caf\u00E9/x.txt\n"},
      // Of two queries the first kind counts, and full paths are given all the same.
      {UnixScan(), {"-qf", "no query", "-q", "name is top"}, "/srv/top\n"},
      // A configuration beside a query is not read.
      {UnixScan(), {"-cfg", "none.cfg", "-qf", "name is top"}, "/srv/top\n"},
      {UnixScan(), {"-adsfull", "-qf", "name is top"}, "/srv/top\n"},
      {WindowsScan(),
       {"-q", "size ge 0"},
       "In directory: C:\\\n  top\n  join  =>  D:\\x\nIn directory: C:\\sub\n  x.TXT\n"},
      {WindowsScan(),
       {"-qf", "attrs includes ha [or] name matches *.txt"},
       "C:\\top\nC:\\sub\\x.TXT\n"},
      {WindowsScan(), {"-adsfull", "-qf", "name is x.txt"}, "C:\\sub\\x.TXT\nC:\\sub\\x.TXT:s\n"},
      {WindowsScan(), {"-qf", "acl includes CORP\\ann [or] name is top"}, "C:\\top\n"},
      {WindowsScan(),
       {"-qf", "acl excludes CORP\\eve [or] name is top"},
       "Unknown domain\\account: CORP\\eve\nC:\\top\n"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(testing::PrintToString(row.options));
    const RunOutcome outcome = RunOnScan({row.scan, "", row.options});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.out, row.out);
    EXPECT_EQ(outcome.err, "");
    EXPECT_THAT(outcome.beside, IsEmpty());
    // The descriptors of a Windows scan stay behind, and nothing else does.
    if (row.scan.kind == ScanKind::kNfs) {
      EXPECT_THAT(outcome.temp, IsEmpty());
    } else {
      EXPECT_THAT(outcome.temp, ElementsAre(StartsWith("sdtem")));
    }
  }
}

TEST(QueryRoad, BadQueriesEndTheRun) {
  const struct {
    ScanSpec scan;
    const char* query;
    const char* message;
  } rows[] = {
      {UnixScan(), "colour is red", "   in position 7 - invalid query object: colour\n"},
      {UnixScan(), "owner is x", "   in position 6 - object 'owner' not valid with NFS scans\n"},
      {WindowsScan(), "uid eq 1", "   in position 4 - object 'uid' not valid with CIFS scans\n"},
      {WindowsScan(), "acl includes ann", "   in position 16 - missing domain name: ann\n"},
      {UnixScan(), "(size gt 1", "   in position 1 - Unmatched open parenthesis\n"},
      {UnixScan(), "class is docs", "   in position 13 - Class not defined: docs\n"},
  };
  for (const auto& row : rows) {
    const RunOutcome outcome = RunOnScan({row.scan, "", {"-qf", row.query}});
    EXPECT_EQ(outcome.status, 1);
    // The query itself is an error line; without log files it is written once.
    EXPECT_EQ(outcome.err, std::string("Syntax error: ") + row.query + "\n" + row.message);
    EXPECT_EQ(outcome.out, "");
    EXPECT_THAT(outcome.temp, IsEmpty());
  }
}

// With log files, the query goes to both of them, the reason to the error log and the console.
TEST(QueryRoad, BadQueriesAreLogged) {
  const TempDir dir;
  WriteDtl(dir / "x.dtl", UnixScan());
  const RunResult run = RunTabulon({"-dtl", "x.dtl", "-q", "size", "-l", "list", "-e", "errors"},
                                   {.env = {{"LC_ALL", "C.UTF-8"}}, .cwd = dir.path()});
  const std::string reason = "   in position 4 - incomplete query specification\n";
  EXPECT_EQ(run.status, 1);
  EXPECT_EQ(run.out, "");
  EXPECT_EQ(WithoutScanTime(run.err), reason);
  EXPECT_EQ(ReadFile(dir / "errors"), "Syntax error: size\n" + reason);
  EXPECT_EQ(ReadFile(dir / "list"), "Syntax error: size\n");
}

// Dates in queries are days of the time zone; a time counts as its day in UTC.
TEST(QueryRoad, DatesFollowTheTimeZone) {
  const auto file = [](const char* name, uint32_t time) {
    return FileRecord(name, {.modified = time});
  };
  const ScanSpec scan{
      .revision = 7,
      .scanTime = March(5, 3),  // still the 4th in New York
      .records = {DirectoryRecord("/"), file("1", March(1, 23)), file("2", March(2)),
                  file("3", March(3, 1)), file("4", March(4, 12))}};
  const struct {
    const char* query;
    const char* utc;
    const char* newYork;
  } rows[] = {
      {"mdate eq 20240302", "/2\n", "/2\n"},
      {"mdate before 20240303", "/1\n/2\n", "/1\n/2\n"},
      {"mdate upto 20240303120000", "/1\n/2\n/3\n", "/1\n/2\n/3\n"},
      {"mdate after 2d", "/4\n", "/3\n/4\n"},
      {"mdate since 1D", "/4\n", "/3\n/4\n"},
      {"mdate ne 1d", "/1\n/2\n/3\n", "/1\n/2\n/4\n"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.query);
    ConfiguredRun run{scan, "", {"-qf", row.query}};
    EXPECT_EQ(RunOnScan(run).out, row.utc);
    run.zone = "America/New_York";
    EXPECT_EQ(RunOnScan(run).out, row.newYork);
  }
}

}  // namespace
}  // namespace tabulon
