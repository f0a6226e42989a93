// dtldu as its users meet it: the sums of every directory against other ways to the same, what is
// shown of them in which order, what browsers get, and every way to fail.
#include <map>
#include <set>
#include <utility>

#include "companion.h"

namespace tabulon {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;

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
                      Sized("y", 4000, 7), DirectoryRecord("/a"), DirectoryRecord("/b-"),
                      LinkRecord("l", "target", {.attributes = 0120777, .size = 6})}};
}

TEST_F(Dtldu, DirectoriesInAnyOrderAddUp) {
  WriteDtl(scan_, Jumbled());
  EXPECT_EQ(Du({"--format", "csv", "--depth", "9"}),
            "path,bytes,own_bytes,files,newest\n"
            "/srv,4327,301,5,1970-01-01T00:00:09Z\n"
            "/srv/b,4020,0,2,1970-01-01T00:00:09Z\n"
            "/srv/b/c,4020,4020,2,1970-01-01T00:00:09Z\n"
            "/srv/b-,6,6,1,1970-01-01T00:00:00Z\n"
            "/srv/a,0,0,0,\n");
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
  const std::string none = "1970-01-01T00:00:00Z";
  EXPECT_EQ(csv,
            "path,bytes,own_bytes,files,newest,bytes_before,files_before,growth\n"
            "/new/grew,50,50,1," +
                none +
                ",20,1,30\n"
                "/new/born,7,7,1," +
                none +
                ",0,0,7\n"
                "/new,62,5,3," +
                none +
                ",9223372036854775807,3,-9223372036854775745\n"
                "/new/gone,0,0,0,,9223372036854775807,2,-9223372036854775807\n");
  EXPECT_THAT(OutputOf("dtldu", {"--by", "bytes", "--top", "2", scan_, older_}),
              HasSubstr("   50 bytes    20 bytes   +30 bytes             1             1"
                        "             0  /new/grew\n… and 2 more (--top 0)\n"));
}

// Sums of every directory by adding each file to all directories above it.
std::map<std::string, std::pair<uint64_t, uint64_t>> SumsOfRows(const std::string& csv,
                                                                char separator) {
  std::map<std::string, std::pair<uint64_t, uint64_t>> sums;
  for (const std::string& line : Lines(csv)) {
    const size_t comma = line.find(',');
    std::string path = line.substr(comma + 1);
    for (bool more = true; more;) {
      const size_t end = path.rfind(separator);
      more = end != 0 && end != path.npos;
      path.resize(more ? end : 0);
      sums[path].first += std::stoull(line);
      ++sums[path].second;
    }
  }
  return sums;
}

TEST_F(Dtldu, SumsAreThoseOfTheRowsOfDtlexport) {
  for (const std::string kind : {"nfs", "cifs"}) {
    ASSERT_EQ(RunMkdtl({"synth", "--kind", kind, "--records", "5000", scan_}).status, 0);
    for (const std::string where : {"size ge 0", "name matches *.pdf"}) {
      const auto sums =
          SumsOfRows(OutputOf("dtlexport", {"--format", "csv", "--no-header", "--relative",
                                            "--fields", "size,path", "--where", where, scan_}),
                     kind == "nfs" ? '/' : '\\');
      std::multiset<std::string> expected, shown;
      for (const auto& [path, sum] : sums) {
        expected.insert(std::to_string(sum.first) + "," + std::to_string(sum.second));
      }
      for (const std::string& line :
           Rows({"--depth", "99", "--hard-links", "all", "--where", where})) {
        const size_t newest = line.rfind(','), files = line.rfind(',', newest - 1);
        const size_t own = line.rfind(',', files - 1), bytes = line.rfind(',', own - 1);
        shown.insert(line.substr(bytes + 1, own - bytes) +
                     line.substr(files + 1, newest - files - 1));
      }
      EXPECT_GT(shown.size(), 50u);
      EXPECT_EQ(shown, expected) << kind << where;
      // Every file is once in the browsers' tree, which is valid JSON.
      WriteFile(dir_ / "json", Du({"--format", "ncdu", "--where", where}));
      const char* const query =
          "select sum(value) || ',' || count(*) from json_tree(readfile('json')) where key = "
          "'asize'";
      const std::pair<uint64_t, uint64_t>& all = sums.at("");
      EXPECT_EQ(RunProgram({"/usr/bin/sqlite3", ":memory:", query}, {.cwd = dir_.path()}).out,
                std::to_string(all.first) + "," + std::to_string(all.second) + "\n");
    }
  }
}

// The live tree, as du(1) and find(1) count it.
TEST_F(Dtldu, SumsAreThoseOfTheLiveTree) {
  const std::string make =
      "mkdir -p t/a/b t/c t/e && cd t && seq 999 > a/x && ln a/x c/y && ln a/x a/z && "
      "seq 77 > a/b/q && ln -s nowhere c/l && mkfifo c/f && seq 5 > \"$(printf 'c/n\\nl')\"";
  ASSERT_EQ(RunProgram({"/bin/sh", "-c", make}, {.cwd = dir_.path()}).status, 0);
  ASSERT_EQ(RunMkdtl({"scan", dir_ / "t", scan_}).status, 0);
  const auto shell = [&](const std::string& command) {
    return RunProgram({"/bin/bash", "-o", "pipefail", "-c", command}, {.cwd = dir_.path()}).out;
  };
  const std::string sum = " | sort -u | awk '{ s += $2 } END { printf \"%d\", s }'";
  const auto root = [&](std::vector<std::string> args) {
    args.insert(args.end(), {"--depth", "0"});
    const std::string row = Rows(args).at(0);
    return row.substr(row.find(',') + 1, row.find(',', row.find(',') + 1) - row.find(',') - 1);
  };
  EXPECT_EQ(root({}), shell("find t -xdev ! -type d -printf '%i %s\\n'" + sum));
  EXPECT_EQ(root({"--hard-links", "all"}), shell("find t -xdev ! -type d -printf '%s\\n' | awk '{ "
                                                 "s += $1 } END { print s }' | tr -d '\\n'"));
}

TEST_F(Dtldu, BrowsersGetTheWholeTree) {
  ScanSpec spec = Jumbled();
  spec.scanTime = 1700000000;
  spec.records.push_back(DirectoryRecord("/b/\xFF\"", {.attributes = 040755, .uid = 3}));
  WriteDtl(scan_, spec);
  const std::string id = ",\"mtime\":0,\"uid\":0,\"gid\":0,\"mode\":", file = id + "33188}";
  const std::string dir = id + "16}";
  const auto size = [](int n) { return "\"asize\":" + std::to_string(n) + ",\"dsize\":4096"; };
  std::string json = Du({"--format", "ncdu"});
  const size_t head = json.find("\"progver\""), behind = json.find(",\"timestamp\"");
  EXPECT_EQ(
      json.erase(head, behind - head + 1),
      "[1,2,{\"progname\":\"dtldu\",\"timestamp\":1700000000},\n"
      "[{\"name\":\"/srv\",\"dev\":1},\n{\"name\":\"first\"," +
          size(1) + ",\"mtime\":5,\"uid\":0,\"gid\":0,\"mode\":33188},\n{\"name\":\"r\"," +
          size(300) + file + ",\n[{\"name\":\"b\",\"dev\":1},\n[{\"name\":\"c\",\"dev\":1" + dir +
          ",\n{\"name\":\"x\"," + size(20) +
          ",\"mtime\":9,\"uid\":0,\"gid\":0,\"mode\":33188},\n"
          "{\"name\":\"y\"," +
          size(4000) +
          ",\"mtime\":7,\"uid\":0,\"gid\":0,\"mode\":33188}],\n[{\"name\":\"\xEF\xBF\xBD\\\"\","
          "\"dev\":1,\"mtime\":0,\"uid\":3,\"gid\":0,\"mode\":16877}]],\n"
          "[{\"name\":\"a\",\"dev\":1" +
          dir + "],\n[{\"name\":\"b-\",\"dev\":1" + dir + ",\n{\"name\":\"l\"," + size(6) +
          ",\"notreg\":true" + id + "41471}]]]\n");
  EXPECT_EQ(Lines(Du({"--format", "ncdu", "--dir", "b/c", "--where", "size eq 20"})).size(), 3u);
}

TEST_F(Dtldu, ScanThatBreaksOffIsCountedAsFarAsItGoes) {
  DtlMap map;
  const std::string bytes = BuildDtl(Jumbled(), &map);
  WriteFile(scan_, bytes.substr(0, map.records[4]));
  WriteFile(older_, bytes);
  const std::string told =
      "scan.dtl' breaks off: what it holds has been counted, the rest is "
      "missing\n";
  for (const std::vector<std::string>& args :
       {std::vector<std::string>{}, {older_}, {"--format", "ncdu"}, {"--files", "2"}}) {
    std::vector<std::string> all = {scan_};
    all.insert(all.end(), args.begin(), args.end());
    const RunResult run = RunCompanion("dtldu", all);
    EXPECT_EQ(run.status, 3);
    EXPECT_THAT(run.err, HasSubstr(told));
    EXPECT_NE(run.out, "");
  }
}

TEST_F(Dtldu, WhatCannotBeReadOrAskedEndsTheRun) {
  WriteDtl(scan_, Jumbled());
  WriteDtl(older_, {.kind = ScanKind::kCifs, .records = {}});
  const std::string ncdu = "dtldu: --format ncdu ";
  // clang-format off
  const std::pair<std::vector<std::string>, std::string> rows[] = {
      {{}, "dtldu: a scan is needed"},
      {{scan_, scan_, scan_}, "dtldu: a scan is needed"},
      {{"-"}, "dtldu: a scan is a file; standard input cannot be read as one"},
      {{"--format", "xml", scan_}, "dtldu: --format is one of text, csv, ndjson, ncdu, not xml"},
      {{"--depth", "-1", scan_}, "dtldu: --depth takes a number, not -1"},
      {{"--top", "9x", scan_}, "dtldu: --top takes a number, not 9x"},
      {{"--by", "growth", scan_}, "dtldu: --by growth needs an older scan"},
      {{"--by", "oldest", scan_}, "dtldu: --by oldest goes with --files only"},
      {{"--files", "0", scan_}, "dtldu: --files takes a number above 0"},
      {{"--files", "1", "--by", "own", scan_}, "dtldu: --files goes by bytes, newest or oldest"},
      {{"--files", "1", "--top", "1", scan_}, "dtldu: --depth and --top do not go with --files"},
      {{"--files", "1", scan_, scan_}, "dtldu: --files takes one scan"},
      {{"--format", "ncdu", scan_, scan_}, ncdu + "takes one scan"},
      {{"--format", "ncdu", "--top", "1", scan_}, ncdu + "shows everything"},
      {{"--dir", "/srv/none", scan_}, "The scan has no directory '/srv/none'\n"},
      {{"--dir", "/srv/none", "--files", "1", scan_}, "The scan has no directory '/srv/none'\n"},
      {{"--dir", "x", "--format", "ncdu", scan_}, "The scan has no directory 'x'\n"},
      {{"--where", "size", scan_}, "Syntax error: size"},
      {{dir_ / "none"}, "Unable to open scan detail file '"},
      {{scan_, older_}, "'" + older_ + "' is a scan of another kind than '" + scan_ + "'\n"},
  };
  // clang-format on
  for (const auto& [args, problem] : rows) {
    const RunResult run = RunCompanion("dtldu", args);
    EXPECT_EQ(run.status, problem.starts_with("dtldu: ") ? 2 : 1) << problem;
    EXPECT_EQ(run.out, "");
    EXPECT_THAT(run.err, StartsWith(problem));
  }
  const RunResult full = RunCompanion("dtldu", {scan_}, {.outPath = "/dev/full"});
  EXPECT_EQ(full.status, 1);
  EXPECT_THAT(full.err, StartsWith("Error writing the rows\n"));
  EXPECT_THAT(OutputOf("dtldu", {"-h"}), StartsWith("usage: dtldu "));
  EXPECT_THAT(OutputOf("dtldu", {"--version"}), StartsWith("dtldu "));
}

}  // namespace
}  // namespace tabulon
