// dtlexport as its users meet it: rows that other programs read back, shards that make up the
// whole, the same choice of files as tabulon's, and every way to fail.
#include <gmock/gmock.h>

#include <filesystem>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "support.h"
#include "tools/dtlbuild.h"

namespace tabulon {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

std::string DtlexportPath() {
  return std::filesystem::path(MkdtlPath()).replace_filename("dtlexport");
}

RunResult RunExport(std::vector<std::string> args, const RunOptions& options = {}) {
  args.insert(args.begin(), DtlexportPath());
  return RunProgram(args, options);
}

// Runs SQL on an empty database and returns the lines that come out.
std::vector<std::string> Sql(const TempDir& dir, const std::string& input) {
  const RunResult run =
      RunProgram({"/usr/bin/sqlite3", "-bail", ":memory:"}, {.cwd = dir.path(), .input = input});
  EXPECT_EQ(run.err, "");
  std::vector<std::string> lines;
  std::istringstream in(run.out);
  for (std::string line; std::getline(in, line);) lines.push_back(line);
  return lines;
}

std::string Hex(std::string_view bytes) {
  std::ostringstream out;
  for (const char byte : bytes) {
    out << "0123456789abcdef"[static_cast<unsigned char>(byte) >> 4]
        << "0123456789abcdef"[byte & 0xF];
  }
  return out.str();
}

class Dtlexport : public testing::Test {
 protected:
  TempDir dir_;
  const std::string scan_ = dir_ / "scan.dtl";

  // Rows of the scan, which must be exported without complaint.
  std::string Export(std::vector<std::string> args) {
    args.push_back(scan_);
    const RunResult run = RunExport(args);
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.err, "");
    return run.out;
  }
  void Synth(const std::string& kind, const std::string& records) {
    ASSERT_EQ(RunMkdtl({"synth", "--kind", kind, "--records", records, scan_}).status, 0);
  }
};

TEST_F(Dtlexport, AllFieldsOfAUnixScan) {
  WriteDtl(scan_,
           {.scanTime = 1700000000,
            .rootPath = "/srv",
            .host = "nas",
            .records = {DirectoryRecord("/", {.attributes = 040755}),
                        FileRecord("a.TXT", {.attributes = 0104750,
                                             .created = 3,
                                             .accessed = 951782399,
                                             .modified = 0xFFFFFFFF,
                                             .size = 1ULL << 63,
                                             .uid = 7,
                                             .gid = 8,
                                             .inode = 9,
                                             .links = 2}),
                        DirectoryRecord("/d", {.attributes = 040755, .uid = 1}),
                        LinkRecord("l", "../a,b", {.attributes = 0120777, .uid = 1})},
            .ids = {{.id = 7, .name = "ann"}, {.id = 8, .kind = kIdGroup, .name = "st\"aff"}}});
  EXPECT_EQ(Export({"--format", "csv", "--directories"}),
            "path,dir,name,ext,type,size,modified,accessed,created,mode,uid,gid,user,group,inode,"
            "links,flags,target,path_bytes,target_bytes\n"
            "/srv,,/srv,,dir,0,1970-01-01T00:00:00Z,1970-01-01T00:00:00Z,1970-01-01T00:00:00Z,0755,"
            "0,0,,,0,1,1073741824,,,\n"
            "/srv/a.TXT,/srv,a.TXT,TXT,file,9223372036854775808,2106-02-07T06:28:15Z,"
            "2000-02-28T23:59:59Z,1970-01-01T00:00:03Z,4750,7,8,ann,\"st\"\"aff\",9,2,0,,,\n"
            "/srv/d,/srv,d,,dir,0,1970-01-01T00:00:00Z,1970-01-01T00:00:00Z,1970-01-01T00:00:00Z,"
            "0755,1,0,,,0,1,1073741824,,,\n"
            "/srv/d/l,/srv/d,l,,symlink,0,1970-01-01T00:00:00Z,1970-01-01T00:00:00Z,"
            "1970-01-01T00:00:00Z,0777,1,0,,,0,1,65536,\"../a,b\",,\n");
  EXPECT_EQ(Export({"--format", "ndjson", "--fields", "target,host,path,root,scanned,user,mode,ext",
                    "--relative"}),
            "{\"target\":null,\"host\":\"nas\",\"path\":\"/a.TXT\",\"root\":\"/srv\","
            "\"scanned\":\"2023-11-14T22:13:20Z\",\"user\":\"ann\",\"mode\":\"4750\","
            "\"ext\":\"TXT\"}\n"
            "{\"target\":\"../a,b\",\"host\":\"nas\",\"path\":\"/d/l\",\"root\":\"/srv\","
            "\"scanned\":\"2023-11-14T22:13:20Z\",\"user\":null,\"mode\":\"0777\",\"ext\":null}\n");
}

TEST_F(Dtlexport, AllFieldsOfAWindowsScan) {
  WriteDtl(scan_, {.kind = ScanKind::kCifs,
                   .rootPath = "E:\\",
                   .records = {FileRecord("lost", {}), DirectoryRecord("\\", {}),
                               WithStreams(FileRecord("x.y.", {.attributes = 0x23, .size = 5}),
                                           {{"a", 1}, {"b", 2}}),
                               DirectoryRecord("\\p\\q", {}), JunctionRecord("j", "C:\\t", {})}});
  const std::string times =
      "\"modified\":\"1970-01-01T00:00:00Z\",\"accessed\":"
      "\"1970-01-01T00:00:00Z\",\"created\":\"1970-01-01T00:00:00Z\",";
  EXPECT_EQ(
      Export({"--format", "ndjson"}),
      "{\"path\":\"E:\\\\lost\",\"dir\":\"E:\\\\\",\"name\":\"lost\",\"ext\":null,\"type\":"
      "\"file\",\"size\":0," +
          times +
          "\"attrs\":null,\"attributes\":0,\"streams\":0,"
          "\"flags\":0,\"target\":null}\n"
          "{\"path\":\"E:\\\\x.y.\",\"dir\":\"E:\\\\\",\"name\":\"x.y.\",\"ext\":\"\",\"type\":"
          "\"file\",\"size\":5," +
          times +
          "\"attrs\":\"HRA\",\"attributes\":35,\"streams\":2,"
          "\"flags\":128,\"target\":null}\n"
          "{\"path\":\"E:\\\\p\\\\q\\\\j\",\"dir\":\"E:\\\\p\\\\q\",\"name\":\"j\",\"ext\":null,"
          "\"type\":\"junction\",\"size\":0," +
          times +
          "\"attrs\":null,\"attributes\":0,"
          "\"streams\":0,\"flags\":1048576,\"target\":\"C:\\\\t\"}\n");
}

// What a name becomes: itself, or text with U+FFFD and its bytes beside it.
TEST_F(Dtlexport, AnyNameComesBackFromCsvAndJson) {
  const std::string r = "\xEF\xBF\xBD";
  const std::map<std::string, std::string> names = {
      // stored, read back
      {"plain.txt", "plain.txt"},
      {"a,b", "a,b"},
      {"\"", "\""},
      {"quo\"te\"\"s.t\"x", "quo\"te\"\"s.t\"x"},
      {"new\nline\r\n.x", "new\nline\r\n.x"},
      {"back\\slash\\", "back\\slash\\"},
      {"\x01\x1F\b\f\t\x7F", "\x01\x1F\b\f\t\x7F"},
      {" blanks ", " blanks "},
      {"gr\xC3\xBC\xC3\x9F\xE2\x82\xAC\xF0\x9F\x98\x80",
       "gr\xC3\xBC\xC3\x9F\xE2\x82\xAC\xF0\x9F\x98\x80"},
      {"\xF4\x8F\xBF\xBF\xEE\x80\x80\xED\x9F\xBF", "\xF4\x8F\xBF\xBF\xEE\x80\x80\xED\x9F\xBF"},
      {std::string("zero\0behind", 11), "zero"},
      {"latin\xE4,x", "latin" + r + ",x"},
      {"cut\xE2\x82", "cut" + r + r},
      {"over\xC0\xAF\xE0\x80\xAF\xF0\x80\x80\xAF", "over" + r + r + r + r + r + r + r + r + r},
      {"half\xED\xA0\x80", "half" + r + r + r},
      {"high\xF4\x90\x80\x80\xF8", "high" + r + r + r + r + r},
  };
  ScanSpec spec{.records = {}};
  std::vector<std::string> expected;
  for (const std::string directory : {"/d", "/d\xFF,", "/\n\""}) {
    const std::string shown = directory == "/d\xFF," ? "/d" + r + "," : directory;
    spec.records.push_back(DirectoryRecord(directory));
    for (const auto& [stored, name] : names) {
      spec.records.push_back(LinkRecord(stored, stored));
      const std::string text = stored.substr(0, stored.find('\0'));
      const size_t dot = name.rfind('.');
      const std::string extension = dot == name.npos ? "" : name.substr(dot + 1);
      const std::string pathBytes =
          text == name && directory == shown ? "" : Hex(directory + "/" + text);
      expected.push_back(Hex(shown + "/" + name) + "|" + Hex(shown) + "|" + Hex(name) + "|" +
                         Hex(extension) + "|" + pathBytes + "|" + Hex(name) + "|" +
                         (text == name ? "" : Hex(text)));
    }
  }
  WriteDtl(scan_, spec);
  const std::string select = " from t order by rowid;\n";
  for (const std::string end : {"--no-header", "--crlf"}) {
    WriteFile(dir_ / "rows", Export({"--format", "csv", end}));
    const std::string skip = end == "--crlf" ? "--skip 1 " : "";
    EXPECT_EQ(Sql(dir_,
                  "create table t(path,dir,name,ext,type,size,modified,accessed,created,mode,"
                  "uid,gid,user,grp,inode,links,flags,target,path_bytes,target_bytes);\n"
                  ".import --csv " +
                      skip +
                      "rows t\n"
                      "select lower(hex(path)||'|'||hex(dir)||'|'||hex(name)||'|'||hex(ext)||'|'||"
                      "path_bytes||'|'||hex(target)||'|'||target_bytes)" +
                      select),
              expected);
  }
  WriteFile(dir_ / "rows", Export({"--format", "ndjson"}));
  const auto value = [](const std::string& field) {
    return "ifnull(json_extract(j,'$." + field + "'),'')";
  };
  EXPECT_EQ(
      Sql(dir_,
          "create table t(j);\n.mode ascii\n.separator \"\\037\" \"\\n\"\n"
          ".import rows t\n.mode list\nselect lower(hex(" +
              value("path") + ")||'|'||hex(" + value("dir") + ")||'|'||hex(" + value("name") +
              ")||'|'||hex(" + value("ext") + ")||'|'||" + value("path_bytes") + "||'|'||hex(" +
              value("target") + ")||'|'||" + value("target_bytes") + ")" + select),
      expected);
}

TEST_F(Dtlexport, TextsOfAnyLengthFit) {
  const std::string name(65000, '\x01');
  const std::string target(65000, '\xFF');
  ScanSpec spec{.records = {DirectoryRecord("/" + std::string(65000, '"'))}};
  for (int i = 0; i < 8; ++i) spec.records.push_back(LinkRecord(name, target));
  WriteDtl(scan_, spec);
  WriteFile(dir_ / "rows", Export({"--format", "ndjson"}));
  EXPECT_EQ(Sql(dir_,
                "create table t(j);\n.mode ascii\n.separator \"\\037\" \"\\n\"\n"
                ".import rows t\n.mode list\nselect count(*), sum(length(json_extract(j,"
                "'$.path'))), min(json_extract(j,'$.target_bytes')='" +
                    Hex(target) + "') from t;\n"),
            std::vector<std::string>{"8|" + std::to_string(8 * (2 + 2 * 65000)) + "|1"});
}

TEST_F(Dtlexport, ShardsMakeUpTheWhole) {
  for (const std::string kind : {"nfs", "cifs"}) {
    Synth(kind, "3000");
    for (const std::string rows : {"--directories", "--no-header"}) {
      const std::string whole = Export({"--format", "csv", "--no-header", rows});
      EXPECT_GT(whole.size(), 200000u);
      for (const int count : {2, 7, 5000}) {
        std::string joined;
        size_t largest = 0;
        for (int i = 1; i <= count; i += count == 5000 ? 2499 : 1) {
          const std::string shard = std::to_string(i) + "/" + std::to_string(count);
          const std::string part =
              Export({"--format", "csv", "--no-header", rows, "--shard", shard});
          joined += part;
          largest = std::max(largest, part.size());
        }
        if (count == 5000) {
          EXPECT_LT(joined.size(), 1000u);  // three of them: some rows, or none
          continue;
        }
        EXPECT_TRUE(joined == whole) << kind << " in " << count;
        EXPECT_LT(largest, whole.size() / static_cast<size_t>(count) * 3 / 2 + 1000);
      }
    }
  }
}

// Paths with runs of characters beyond ASCII cut out: listings show those in a form of their own.
std::string AsciiPart(std::string_view line) {
  std::string ascii;
  for (const char byte : line.substr(0, line.find("  =>  "))) {
    if (static_cast<signed char>(byte) >= 0) ascii += byte;
  }
  return ascii;
}

std::vector<std::string> AsciiLines(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) lines.push_back(AsciiPart(line));
  return lines;
}

TEST_F(Dtlexport, QueriesChooseWhatTabulonLists) {
  const std::map<std::string, std::vector<std::string>> queries = {
      {"nfs",
       {"size gt 100K", "name matches *.pdf [or] uid eq 1003",
        "path matches ~/media~ [and] mdate before 1y", "target matches ~", "links gt 1"}},
      {"cifs",
       {"attrs includes H", "name matches *.PDF [and] (size gt 10K [or] adate before 2y)",
        "path matches \\archive~", "acl includes NO\\body [or] size eq 0"}}};
  for (const auto& [kind, texts] : queries) {
    Synth(kind, "20000");
    for (const std::string& query : texts) {
      const RunOptions options{.env = {{"LC_ALL", "C.UTF-8"}}};
      const RunResult listed = RunTabulon({"-dtl", scan_, "-qf", query}, options);
      const RunResult run = RunExport(
          {"--format", "csv", "--no-header", "--fields", "path", "--where", query, scan_}, options);
      EXPECT_EQ(listed.status, 0) << query;
      EXPECT_EQ(run.status, 0) << query;
      EXPECT_GT(AsciiLines(run.out).size(), 30u) << query;
      std::vector<std::string> lines = AsciiLines(listed.out);
      if (lines.front().starts_with("Unknown ")) lines.erase(lines.begin());
      EXPECT_TRUE(AsciiLines(run.out) == lines) << query;
      // What is said about the query is kept out of the rows.
      EXPECT_EQ(run.err, query.starts_with("acl") ? "Unknown domain\\account: NO\\body\n" : "");
    }
  }
}

TEST_F(Dtlexport, ScanThatBreaksOffIsToldAndWhatItHoldsWritten) {
  DtlMap map;
  const std::string bytes =
      BuildDtl({.records = {DirectoryRecord("/"), FileRecord("first"),
                            LinkRecord("second", "target"), FileRecord("third")},
                .endMarker = true},
               &map);
  for (size_t size = map.records[0]; size < bytes.size(); size += 3) {
    WriteFile(scan_, bytes.substr(0, size));
    const RunResult run =
        RunExport({"--format", "csv", "--fields", "name,target", "--no-header", scan_});
    const bool ended = size >= map.recordsEnd + sizeof kRecordEnd;
    ASSERT_EQ(run.status, ended ? 0 : 3) << size;
    if (!ended) {
      EXPECT_THAT(run.err, HasSubstr("' breaks off: "));
    }
    // A record that is there whole is written whole.
    const std::string sure = size >= map.records[3]   ? "first,\nsecond,target\n"
                             : size >= map.records[2] ? "first,\n"
                                                      : "";
    EXPECT_THAT(run.out, StartsWith(sure)) << size;
    EXPECT_THAT("first,\nsecond,target\nthird,\n", StartsWith(run.out.substr(0, sure.size())));
  }
}

TEST_F(Dtlexport, CompressedScanIsReadAndNotTouched) {
  Synth("nfs", "2000");
  const std::string rows = Export({"--format", "csv"});
  ASSERT_EQ(RunMkdtl({"synth", "--kind", "nfs", "--records", "2000", "--compress", scan_}).status,
            0);
  const std::string packed = ReadFile(scan_);
  const RunOptions options{.env = {{"TMPDIR", dir_.path()}}};
  EXPECT_TRUE(RunExport({"--format", "csv", scan_}, options).out == rows);
  EXPECT_TRUE(ReadFile(scan_) == packed);
  WriteFile(scan_, packed.substr(0, packed.size() / 2));
  const RunResult run = RunExport({"--format", "csv", scan_}, options);
  EXPECT_EQ(run.status, 1);
  EXPECT_EQ(run.out, "");
  EXPECT_THAT(run.err, HasSubstr("Error occurred during decompression of '" + scan_ + "'\n"));
  EXPECT_THAT(dir_.Entries(), testing::ElementsAre("scan.dtl"));
}

TEST_F(Dtlexport, RowsThatCannotBeWrittenEndTheRun) {
  Synth("nfs", "20000");
  const RunResult full = RunExport({"--format", "csv", scan_}, {.outPath = "/dev/full"});
  EXPECT_EQ(full.status, 1);
  EXPECT_EQ(full.err, "Error writing the rows\n  (p28) No space left on device\n");
  const RunResult limited = RunProgram(
      {"/bin/sh", "-c", "ulimit -f 100; exec " + DtlexportPath() + " --format csv scan.dtl > rows"},
      {.cwd = dir_.path()});
  EXPECT_EQ(limited.status, 1);
  EXPECT_EQ(limited.err, "Error writing the rows\n  (p27) File too large\n");
  const RunResult closed =
      RunProgram({"/bin/sh", "-c", "exec " + DtlexportPath() + " --format csv scan.dtl >&-"},
                 {.cwd = dir_.path()});
  EXPECT_EQ(closed.status, 1);
  EXPECT_THAT(closed.err, HasSubstr("Bad file descriptor"));
}

TEST_F(Dtlexport, WrongUsageIsTold) {
  Synth("nfs", "10");
  const std::vector<std::pair<std::vector<std::string>, std::string>> rows = {
      {{scan_}, "--format is needed"},
      {{"--format", "csv"}, "one scan is needed"},
      {{"--format", "xml", scan_}, "--format is csv or ndjson, not xml"},
      {{"--format", "csv", "--shard", "0/2", scan_}, "--shard is I/N with I from 1 to N, not 0/2"},
      {{"--format", "csv", "--shard", "3/2", scan_}, "--shard is I/N with I from 1 to N, not 3/2"},
      {{"--format", "csv", "--shard", "1/2x", scan_},
       "--shard is I/N with I from 1 to N, not 1/2x"},
      {{"--format", "csv", "--fields", "path,", scan_}, "rows of this scan have no field ''"},
      {{"--format", "csv", "--fields", "attrs", scan_}, "rows of this scan have no field 'attrs'"},
      {{"--format", "csv", "--fields", "uid,uid", scan_}, "field 'uid' is named twice"},
  };
  for (const auto& [args, problem] : rows) {
    const RunResult run = RunExport(args);
    EXPECT_EQ(run.status, 2);
    EXPECT_EQ(run.out, "");
    EXPECT_THAT(run.err, StartsWith("dtlexport: " + problem));
    EXPECT_THAT(run.err, HasSubstr("\nTry 'dtlexport --help'.\n"));
  }
  const RunResult help = RunExport({"--help"});
  EXPECT_EQ(help.status, 0);
  EXPECT_THAT(help.out, StartsWith("usage: dtlexport "));
}

TEST_F(Dtlexport, WhatCannotBeReadOrAskedEndsTheRun) {
  Synth("nfs", "10");
  WriteFile(dir_ / "text", std::string(500, 'x'));
  const std::vector<std::pair<std::vector<std::string>, std::string>> rows = {
      {{dir_ / "none"}, "Unable to open scan detail file '" + dir_ / "none" + "'\n"},
      {{dir_ / "text"}, "'" + dir_ / "text" + "' is not a valid Trawlix detail log file\n"},
      {{"--where", "size is 5", scan_}, "Syntax error: size is 5\n"},
      {{"--where", "attrs includes H", scan_}, "Syntax error: attrs includes H\n"},
  };
  for (auto [args, problem] : rows) {
    args.insert(args.begin(), {"--format", "csv"});
    const RunResult run = RunExport(args);
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.out, "");
    EXPECT_THAT(run.err, StartsWith(problem));
  }
}

}  // namespace
}  // namespace tabulon
