// dtldu as its users meet it: the sums of every directory against other ways to the same, what is
// shown of them in which order, and what browsers get.
#include <utility>

#include "companion.h"

namespace tabulon {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

class Dtldu : public testing::Test {
 protected:
  TempDir dir_;
  const std::string scan_ = dir_ / "scan.dtl", older_ = dir_ / "older.dtl";

  std::string Du(std::vector<std::string> args) {
    args.push_back(scan_);
    return OutputOf("dtldu", std::move(args));
  }
  // Rows of CSV without their header.
  std::vector<std::string> Rows(std::vector<std::string> args) {
    args.insert(args.begin(), {"--format", "csv"});
    std::vector<std::string> lines = Lines(Du(std::move(args)));
    lines.erase(lines.begin());
    return lines;
  }
};

RecordSpec Sized(const std::string& name, uint64_t size, uint32_t modified = 0) {
  return FileRecord(name, {.attributes = 0100644, .modified = modified, .size = size});
}
RecordSpec Linked(const std::string& name, RecordSpec rest) {
  rest.attributes = 0100644;
  rest.links = 2;
  return FileRecord(name, rest);
}

// A scan whose directories come in no order, one of them twice, one without a record of its own.
ScanSpec Jumbled() {
  return {.rootPath = "/srv",
          .records = {Sized("first", 1, 5), DirectoryRecord("/b/c"), Sized("x", 20, 9),
                      DirectoryRecord("/"), Sized("r", 300), DirectoryRecord("/b/c/"),
                      Sized("y", 4000, 7), DirectoryRecord("/b-"),
                      LinkRecord("l", "target", {.attributes = 0120777, .size = 6}),
                      DirectoryRecord("/a")}};
}

TEST_F(Dtldu, WhatIsShownAndInWhichOrder) {
  WriteDtl(scan_, Jumbled());
  struct Row {
    std::vector<std::string> args;
    std::vector<std::string> paths;
  };
  // clang-format off
  const Row rows[] = {
      {{"--depth", "0"}, {"/srv"}},
      {{}, {"/srv", "/srv/b", "/srv/b-", "/srv/a"}},
      {{"--top", "2"}, {"/srv", "/srv/b"}},
      {{"--by", "own"}, {"/srv", "/srv/b-", "/srv/a", "/srv/b"}},
      {{"--by", "files"}, {"/srv", "/srv/b", "/srv/b-", "/srv/a"}},
      {{"--by", "newest"}, {"/srv", "/srv/b", "/srv/a", "/srv/b-"}},
      {{"--dir", "/srv/b"}, {"/srv/b", "/srv/b/c"}},
      {{"--dir", "b/c/", "--depth", "3"}, {"/srv/b/c"}},
      {{"--where", "size gt 1000"}, {"/srv", "/srv/b"}},
      {{"--where", "name is none"}, {"/srv"}},
      {{"--files", "3"}, {"/srv/b/c/y", "/srv/r", "/srv/b/c/x"}},
      {{"--files", "2", "--by", "newest"}, {"/srv/b/c/x", "/srv/b/c/y"}},
      {{"--files", "2", "--by", "oldest"}, {"/srv/b-/l", "/srv/r"}},
      {{"--files", "9", "--dir", "/b", "--where", "size lt 1000"}, {"/srv/b/c/x"}},
  };
  // clang-format on
  for (const Row& row : rows) {
    std::vector<std::string> paths;
    for (const std::string& line : Rows(row.args)) paths.push_back(line.substr(0, line.find(',')));
    EXPECT_EQ(paths, row.paths) << testing::PrintToString(row.args);
  }
  EXPECT_EQ(Du({"--top", "2"}),
            "      bytes         own         files       newest  path\n"
            "    4.23 KB   301 bytes             5   1970-01-01  /srv\n"
            "    3.93 KB     0 bytes             2   1970-01-01  /srv/b\n"
            "… and 2 more (--top 0)\n");
}

TEST_F(Dtldu, FileWithSeveralNamesCountsAtTheFirst) {
  const RecordSpec same = {.modified = 1, .size = 10, .inode = 7}, other = {.size = 10, .inode = 7};
  ScanSpec spec{
      .rootPath = "/",
      .records = {DirectoryRecord("/"), DirectoryRecord("/a"), Linked("n", same), Linked("m", same),
                  DirectoryRecord("/b"), Linked("o", same), Linked("p", other)}};
  WriteDtl(scan_, spec);
  const std::string t0 = "1970-01-01T00:00:00Z", t1 = "1970-01-01T00:00:01Z";
  EXPECT_THAT(Rows({}), ElementsAre("/,20,0,4," + t1, "/a,10,10,2," + t1, "/b,10,10,2," + t1));
  EXPECT_THAT(Rows({"--hard-links", "all"}),
              ElementsAre("/,40,0,4," + t1, "/a,20,20,2," + t1, "/b,20,20,2," + t1));
  EXPECT_THAT(Rows({"--files", "9"}), ElementsAre("/a/n,10,10,1," + t1, "/b/p,10,10,1," + t0));
  EXPECT_EQ(Rows({"--files", "9", "--hard-links", "all"}).size(), 4u);
  // Two files of one inode number are told apart, as the numbers of devices are not known.
  EXPECT_THAT(Du({"--format", "ncdu"}),
              testing::AllOf(HasSubstr("{\"name\":\"o\",\"asize\":10,\"dsize\":4096,\"ino\":7,"
                                       "\"nlink\":2,\"hlnkc\":true,\"mtime\":1,"),
                             HasSubstr("\"ino\":4294967303,")));
}

TEST_F(Dtldu, ComparedWithAnOlderScan) {
  WriteDtl(scan_, {.rootPath = "/new",
                   .records = {DirectoryRecord("/"), Sized("r", 5), DirectoryRecord("/grew"),
                               Sized("x", 50), DirectoryRecord("/born"), Sized("x", 7)}});
  WriteDtl(older_, {.rootPath = "/old",
                    .records = {DirectoryRecord("/gone"), Sized("x", 90), Sized("y", 1ULL << 63),
                                DirectoryRecord("/"), DirectoryRecord("/grew"), Sized("x", 20)}});
  const std::string csv = OutputOf("dtldu", {"--format", "csv", scan_, older_});
  EXPECT_EQ(csv, R"(path,bytes,own_bytes,files,newest,bytes_before,files_before,growth
/new/grew,50,50,1,1970-01-01T00:00:00Z,20,1,30
/new/born,7,7,1,1970-01-01T00:00:00Z,0,0,7
/new,62,5,3,1970-01-01T00:00:00Z,9223372036854775807,3,-9223372036854775745
/new/gone,0,0,0,,9223372036854775807,2,-9223372036854775807
)");
  EXPECT_THAT(OutputOf("dtldu", {"--by", "bytes", "--top", "2", scan_, older_}),
              HasSubstr("   50 bytes    20 bytes   +30 bytes             1             1"
                        "             0  /new/grew\n… and 2 more (--top 0)\n"));
}

// Adds the size of each file to all directories above it, and holds that against the rows of dtldu
// and the sizes in the browsers' tree.
constexpr char kCheckSums[] = R"(
import collections, csv, json, sys
sums, sizes = collections.defaultdict(lambda: [0, 0]), []
for size, path in csv.reader(open('files', encoding='utf-8', newline='')):
    while path:
        path = path.rpartition(sys.argv[1])[0]
        sums[path] = [sums[path][0] + int(size), sums[path][1] + 1]
rows = list(csv.DictReader(open('sums', encoding='utf-8', newline='')))
root = rows[0]['path'].rstrip(sys.argv[1])
shown = [(row['path'].removeprefix(root).rstrip(sys.argv[1]), [int(row['bytes']), int(row['files'])])
         for row in rows]
assert sorted(shown) == sorted(sums.items()) and len(shown) > 50, (shown, sums)
json.load(open('tree', encoding='utf-8'), object_hook=lambda o: sizes.append(o.get('asize')))
assert [sum(filter(None, sizes)), len(sizes) - sizes.count(None)] == sums[''], sizes
)";

TEST_F(Dtldu, SumsAreThoseOfTheRowsOfDtlexport) {
  WriteFile(dir_ / "check.py", kCheckSums);
  for (const std::string kind : {"nfs /", "cifs \\\\"}) {
    for (const std::string where : {"size ge 0", "name matches *.pdf"}) {
      const RunResult run = RunShell(
          dir_,
          "set -e -- " + kind + "; mkdtl synth --kind $1 --records 5000 scan.dtl; where='" + where +
              "'; "
              "dtlexport --format csv --no-header --relative --fields size,path --where \"$where\" "
              "scan.dtl > files; "
              "dtldu --format csv --depth 99 --hard-links all --where \"$where\" scan.dtl > sums; "
              "dtldu --format ncdu --where \"$where\" scan.dtl > tree; python3 check.py $2");
      EXPECT_EQ(run.status, 0) << kind << where << run.err;
    }
  }
}

// The live tree, as find(1) counts it.
TEST_F(Dtldu, SumsAreThoseOfTheLiveTree) {
  const std::string make =
      "mkdir -p t/a/b t/c t/e && cd t && seq 999 > a/x && ln a/x c/y && ln a/x a/z && "
      "seq 77 > a/b/q && ln -s nowhere c/l && mkfifo c/f && seq 5 > $'c/n\\nl' && "
      "cd .. && mkdtl scan t scan.dtl";
  ASSERT_EQ(RunShell(dir_, make).status, 0);
  const std::string sum = " | awk '{ s += $NF } END { print s }'";
  const std::string first = " scan.dtl | awk -F, 'NR == 2 { print $2 }'";
  EXPECT_EQ(RunShell(dir_, "dtldu --format csv" + first).out,
            RunShell(dir_, "find t -xdev ! -type d -printf '%i %s\\n' | sort -u" + sum).out);
  EXPECT_EQ(RunShell(dir_, "dtldu --format csv --hard-links all" + first).out,
            RunShell(dir_, "find t -xdev ! -type d -printf '%s\\n'" + sum).out);
}

TEST_F(Dtldu, BrowsersGetTheWholeTree) {
  ScanSpec spec = Jumbled();
  spec.scanTime = 1700000000;
  spec.records.push_back(DirectoryRecord("/b/\xFF\"", {.attributes = 040755, .uid = 3}));
  WriteDtl(scan_, spec);
  const std::string json = Du({"--format", "ncdu"});
  EXPECT_THAT(json, testing::StartsWith(R"([1,2,{"progname":"dtldu","progver":")"));
  EXPECT_EQ(json.substr(json.find(R"(,"timestamp")")),
            R"(,"timestamp":1700000000},
[{"name":"/srv","dev":1},
{"name":"first","asize":1,"dsize":4096,"mtime":5,"uid":0,"gid":0,"mode":33188},
{"name":"r","asize":300,"dsize":4096,"mtime":0,"uid":0,"gid":0,"mode":33188},
[{"name":"b","dev":1},
[{"name":"c","dev":1,"mtime":0,"uid":0,"gid":0,"mode":16},
{"name":"x","asize":20,"dsize":4096,"mtime":9,"uid":0,"gid":0,"mode":33188},
{"name":"y","asize":4000,"dsize":4096,"mtime":7,"uid":0,"gid":0,"mode":33188}],
[{"name":")"
            "\xEF\xBF\xBD"
            R"(\"","dev":1,"mtime":0,"uid":3,"gid":0,"mode":16877}]],
[{"name":"b-","dev":1,"mtime":0,"uid":0,"gid":0,"mode":16},
{"name":"l","asize":6,"dsize":4096,"notreg":true,"mtime":0,"uid":0,"gid":0,"mode":41471}],
[{"name":"a","dev":1,"mtime":0,"uid":0,"gid":0,"mode":16}]]]
)");
  EXPECT_EQ(Lines(Du({"--format", "ncdu", "--dir", "b/c", "--where", "size eq 20"})).size(), 3u);
}

TEST_F(Dtldu, ScanThatBreaksOffIsCountedAsFarAsItGoes) {
  DtlMap map;
  const std::string bytes = BuildDtl(Jumbled(), &map);
  WriteFile(scan_, bytes.substr(0, map.records[4]));
  WriteFile(older_, bytes);
  for (const std::string args : {"", "older.dtl", "--format ncdu", "--files 2"}) {
    const RunResult run = RunShell(dir_, "dtldu scan.dtl " + args);
    EXPECT_EQ(run.status, 3);
    EXPECT_EQ(run.err,
              "'scan.dtl' breaks off: what it holds has been counted, the rest is missing\n");
    EXPECT_NE(run.out, "");
  }
}

}  // namespace
}  // namespace tabulon
