// dtlexport as its users meet it: rows that other programs read back, shards that make up the
// whole, and the same choice of files as tabulon's.
#include <map>
#include <string>
#include <vector>

#include "companion.h"
#include "tests/terminal.h"

namespace tabulon {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

// Prints the named fields of the rows that come in, a zero byte after each. Bytes that are there in
// hexadecimal digits come as they are.
constexpr char kReadRows[] = R"(
import csv, json, os, sys
form, names, text = sys.argv[1], sys.argv[2].split(','), open(0, encoding='utf-8', newline='')
header = names if form == 'csv--no-header' else None
rows = map(json.loads, text) if form == 'ndjson' else csv.DictReader(text, header, strict=True)
for row in rows:
    for name in names:
        value = row.get(name) or ''
        os.write(1, (bytes.fromhex(value) if '_bytes' in name else value.encode()) + b'\0')
)";

class Dtlexport : public testing::Test {
 protected:
  TempDir dir_;
  const std::string scan_ = dir_ / "scan.dtl";

  // Rows of the scan, which must be exported without complaint.
  std::string Export(std::vector<std::string> args) {
    args.push_back(scan_);
    return OutputOf("dtlexport", args);
  }
  void Synth(const std::string& kind, const std::string& records) {
    ASSERT_EQ(
        RunShell(dir_, "mkdtl synth scan.dtl --kind " + kind + " --records " + records).status, 0);
  }
};

TEST_F(Dtlexport, AllFieldsOfAUnixScan) {
  // clang-format off
  WriteDtl(scan_,
           {.scanTime = 1700000000, .rootPath = "/srv", .host = "nas",
            .records = {DirectoryRecord("/", {.attributes = 040755}),
                        FileRecord("a.TXT", {.attributes = 0104750, .created = 3,
                                             .accessed = 951782399, .modified = 0xFFFFFFFF,
                                             .size = 1ULL << 63, .uid = 7, .gid = 8, .inode = 9,
                                             .links = 2}),
                        DirectoryRecord("/d", {.attributes = 040755, .uid = 1}),
                        LinkRecord("l", "../a,b", {.attributes = 0120777, .uid = 1})},
            .ids = {{.id = 7, .name = "ann"}, {.id = 8, .kind = kIdGroup, .name = "st\"aff"}}});
  // clang-format on
  // clang-format off
  const std::string t0 = ",1970-01-01T00:00:00Z", unset = t0 + t0 + t0 + ",0";
  EXPECT_EQ(Export({"--format", "csv", "--directories"}),
            "path,dir,name,ext,type,size,modified,accessed,created,mode,uid,gid,user,group,inode,"
            "links,flags,target,path_bytes,target_bytes\n"
            "/srv,,/srv,,dir,0" + unset + "755,0,0,,,0,1,1073741824,,,\n"
            "/srv/a.TXT,/srv,a.TXT,TXT,file,9223372036854775808,2106-02-07T06:28:15Z,"
            "2000-02-28T23:59:59Z,1970-01-01T00:00:03Z,4750,7,8,ann,\"st\"\"aff\",9,2,0,,,\n"
            "/srv/d,/srv,d,,dir,0" + unset + "755,1,0,,,0,1,1073741824,,,\n"
            "/srv/d/l,/srv/d,l,,symlink,0" + unset + "777,1,0,,,0,1,65536,\"../a,b\",,\n");
  EXPECT_EQ(Export({"--format", "ndjson", "--fields", "target,host,path,root,scanned,user,mode,ext",
                    "--relative"}), R"({"target":null,"host":"nas","path":"/a.TXT","root":"/srv",)"
            R"("scanned":"2023-11-14T22:13:20Z","user":"ann","mode":"4750","ext":"TXT"})" "\n"
            R"({"target":"../a,b","host":"nas","path":"/d/l","root":"/srv",)"
            R"("scanned":"2023-11-14T22:13:20Z","user":null,"mode":"0777","ext":null})" "\n");
  // clang-format on
}

TEST_F(Dtlexport, AllFieldsOfAWindowsScan) {
  WriteDtl(scan_, {.kind = ScanKind::kCifs,
                   .rootPath = "E:\\",
                   .records = {FileRecord("lost", {}), DirectoryRecord("\\", {}),
                               WithStreams(FileRecord("x.y.", {.attributes = 0x23, .size = 5}),
                                           {{"a", 1}, {"b", 2}}),
                               DirectoryRecord("\\p\\q", {}), JunctionRecord("j", "C:\\t", {})}});
  const std::string time = R"(ed":"1970-01-01T00:00:00Z",)",
                    times = R"("modifi)" + time + R"("access)" + time + R"("creat)" + time;
  // clang-format off
  EXPECT_EQ(Export({"--format", "ndjson"}),
            R"({"path":"E:\\lost","dir":"E:\\","name":"lost","ext":null,"type":"file","size":0,)" +
                times + R"("attrs":null,"attributes":0,"streams":0,"flags":0,"target":null}
{"path":"E:\\x.y.","dir":"E:\\","name":"x.y.","ext":"","type":"file","size":5,)" + times +
                R"("attrs":"HRA","attributes":35,"streams":2,"flags":128,"target":null}
{"path":"E:\\p\\q\\j","dir":"E:\\p\\q","name":"j","ext":null,"type":"junction","size":0,)" + times +
                R"("attrs":null,"attributes":0,"streams":0,"flags":1048576,"target":"C:\\t"})" "\n");
  // clang-format on
}

// What a name becomes: itself, or text with U+FFFD and its bytes beside it.
TEST_F(Dtlexport, AnyNameComesBackFromCsvAndJson) {
  const std::string r = "\xEF\xBF\xBD", r3 = r + r + r;
  std::map<std::string, std::string> names = {
      // stored, read back
      {std::string("zero\0behind", 11), "zero"},
      {"latin\xE4,x", "latin" + r + ",x"},
      {"cut\xE2\x82", "cut" + r + r},
      {"over\xC0\xAF\xE0\x80\xAF\xF0\x80\x80\xAF", "over" + r3 + r3 + r3},
      {"half\xED\xA0\x80", "half" + r3},
      {"high\xF4\x90\x80\x80\xF8", "high" + r3 + r + r},
  };
  for (const char* same :
       {"plain.txt", "a,b", "\"", "quo\"te\"\"s.t\"x", "new\nline\r\n.x", "back\\slash\\",
        "\x01\x1F\b\f\t\x7F", " blanks ", "gr\xC3\xBC\xE2\x82\xAC\xF0\x9F\x98\x80",
        "\xF4\x8F\xBF\xBF\xEE\x80\x80\xED\x9F\xBF"}) {
    names[same] = same;
  }
  ScanSpec spec{.records = {}};
  std::string expected;
  for (const std::string directory : {"/d", "/d\xFF,", "/\n\""}) {
    const std::string shown = directory == "/d\xFF," ? "/d" + r + "," : directory;
    spec.records.push_back(DirectoryRecord(directory));
    for (const auto& [stored, name] : names) {
      spec.records.push_back(LinkRecord(stored, stored));
      const std::string text = stored.substr(0, stored.find('\0'));
      const size_t dot = name.rfind('.');
      for (const std::string& value :
           {shown + "/" + name, shown, name, dot == name.npos ? "" : name.substr(dot + 1),
            text == name && directory == shown ? "" : directory + "/" + text, name,
            text == name ? "" : text}) {
        expected += value + '\0';
      }
    }
  }
  WriteDtl(scan_, spec);
  WriteFile(dir_ / "read.py", kReadRows);
  for (const std::string format : {"csv --no-header", "csv --crlf", "ndjson"}) {
    const RunResult run = RunShell(
        dir_,
        "fields=path,dir,name,ext,path_bytes,target,target_bytes; set -- " + format +
            "; dtlexport --fields $fields --format $@ scan.dtl | python3 read.py $1$2 $fields");
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_TRUE(run.out == expected) << format;
  }
}

// Paths come as they are stored; those that would lead out of the tree are told and left out.
TEST_F(Dtlexport, PathsForOtherProgramsStayBelowTheRoot) {
  struct Row {
    ScanKind kind;
    std::string root, directory, name, path;
    const char* fault;  // null: the path is written
  };
  const std::string parent = "it has a part '..'", separator = "its name holds a separator";
  const auto nfs = ScanKind::kNfs, cifs = ScanKind::kCifs;
  const Row rows[] = {
      {nfs, "/srv", "/d", "a\nb,\xFF\\..\\c ", "/srv/d/a\nb,\xFF\\..\\c ", nullptr},
      {nfs, "/", "/", "...", "/...", nullptr},
      {nfs, "/srv", "/..d", "..", "/srv/..d/..", parent.c_str()},
      {nfs, "/srv", "/d", "e/f", "/srv/d/e/f", separator.c_str()},
      {nfs, "/srv", "/d/..", "x", "/srv/d/../x", parent.c_str()},
      {nfs, "/srv/../x", "/d", "y", "/srv/../x/d/y", parent.c_str()},
      {nfs, "/srv", "d", "x", "/srvd/x", "its directory does not begin at the root"},
      {nfs, "/srv", "/d", ".", "/srv/d/.", "it names a directory"},
      {cifs, "E:\\", "\\d", "a b", "E:\\d\\a b", nullptr},
      {cifs, "E:\\", "\\d/..\\e", "f", "E:\\d/..\\e\\f", parent.c_str()},
      {cifs, "E:\\", "\\", "a\\b", "E:\\a\\b", separator.c_str()},
  };
  for (const Row& row : rows) {
    WriteDtl(scan_, {.kind = row.kind,
                     .rootPath = row.root,
                     .records = {DirectoryRecord(row.directory), FileRecord(row.name)}});
    const RunResult run = RunShell(dir_, "dtlexport --format paths0 scan.dtl");
    const bool written = row.fault == nullptr;
    EXPECT_EQ(run.status, written ? 0 : 3) << row.path;
    EXPECT_EQ(run.out, written ? row.path + '\0' : "");
    EXPECT_EQ(run.err,
              written ? "" : std::string("left out, ") + row.fault + ": '" + row.path + "'\n");
  }
  WriteDtl(scan_, {.rootPath = "/srv",
                   .records = {DirectoryRecord("/"), FileRecord("a"), DirectoryRecord("/d"),
                               FileRecord("b")}});
  EXPECT_EQ(Export({"--format", "paths0", "--directories"}),
            std::string("/srv\0/srv/a\0/srv/d\0/srv/d/b\0", 28));
}

TEST_F(Dtlexport, GuardedTextsAreNoFormulas) {
  ScanSpec spec{.rootPath = "-r", .records = {DirectoryRecord("=d")}};
  for (const char* name : {"=1", "+1", "-1", "@a", "\t=1", "\r=1", " =1", "a=1", "x.=1", "\"=1"}) {
    spec.records.push_back(LinkRecord(name, name));
  }
  WriteDtl(scan_, spec);
  EXPECT_EQ(Export({"--format", "csv", "--guard", "--fields", "name,ext,target,size"}),
            "name,ext,target,size\n'=1,,'=1,0\n'+1,,'+1,0\n'-1,,'-1,0\n'@a,,'@a,0\n"
            "\"'\t=1\",,\"'\t=1\",0\n\"'\r=1\",,\"'\r=1\",0\n =1,, =1,0\na=1,,a=1,0\n"
            "x.=1,'=1,x.=1,0\n\"\"\"=1\",,\"\"\"=1\",0\n");
  EXPECT_THAT(Export({"--format", "csv", "--guard", "--fields", "path,dir,root", "--no-header"}),
              HasSubstr("\n'-r=d/a=1,'-r=d,'-r\n"));
}

TEST_F(Dtlexport, ShardsMakeUpTheWhole) {
  for (const std::string kind : {"nfs", "cifs"}) {
    for (const auto& [records, count] : {std::pair("3000", "2"), {"3000", "7"}, {"15", "40"}}) {
      Synth(kind, records);
      for (const std::string rows : {"--directories", "--no-header"}) {
        const RunResult run = RunShell(
            dir_, std::string("set -e; count=") + count + "; export='dtlexport --format csv " +
                      rows + " --no-header scan.dtl'; $export > whole; " +
                      "for ((i = 1; i <= count; ++i)); do $export --shard $i/$count > $i; "
                      "[ $(wc -c < $i) -lt $(($(wc -c < whole) / count * 3 / 2 + 1000)) ]; done; "
                      "cat $(seq $count) | cmp - whole");
        EXPECT_EQ(run.status, 0) << kind << records << rows << run.out << run.err;
      }
    }
  }
}

// Listings show characters beyond ASCII, and links, in a form of their own.
TEST_F(Dtlexport, QueriesChooseWhatTabulonLists) {
  const std::map<std::string, std::vector<std::string>> queries = {
      {"nfs",
       {"size gt 100K", "name matches *.pdf [or] uid eq 1003",
        "path matches ~/media~ [and] mdate before 1y", "target matches ~", "links gt 1"}},
      {"cifs",
       {"attrs includes H", "name matches *.PDF [and] (size gt 10K [or] adate before 2y)",
        "path matches \\archive~", "acl includes NO\\body [or] size eq 0"}}};
  const std::string plain = " | LC_ALL=C sed -e '/^Unknown /d; s/  =>  .*//; s/[\x80-\xFF]//g' > ";
  for (const auto& [kind, texts] : queries) {
    Synth(kind, "20000");
    for (const std::string& query : texts) {
      const RunResult run = RunShell(
          dir_,
          "tabulon -dtl scan.dtl -qf '" + query + "' 2> log" + plain +
              "listed && dtlexport --format csv --no-header --fields path scan.dtl --where '" +
              query + "'" + plain + "rows && cmp listed rows && [ $(wc -l < rows) -gt 30 ]");
      EXPECT_EQ(run.status, 0) << query << run.out;
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
        RunShell(dir_, "dtlexport --format csv --fields name,target --no-header scan.dtl");
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
  }
}

// Only there: files and pipes get the names as they are.
TEST_F(Dtlexport, ATerminalSeesNoControlOrDirectionCharacters) {
  REQUIRE_TERMINAL(Terminal());
  WriteDtl(scan_, {.records = {DirectoryRecord("/"),
                               FileRecord("\x1B[2J\n\u009B\u202Etxt\u2066z\u00E9")}});
  const std::pair<std::string, std::string> rows[] = {
      {"csv --fields name --no-header", "\"?[2J???txt?z\u00E9\"\r\n"},
      {"ndjson --fields name", "{\"name\":\"\\u001b[2J\\n??txt?z\u00E9\"}\r\n"},
      {"paths0", std::string("/?[2J???txt?z\u00E9\0", 16)}};
  for (const auto& [format, shown] : rows) {
    Terminal terminal;
    const std::string line = std::to_string(terminal.line());
    EXPECT_EQ(RunShell(dir_, "dtlexport --format " + format + " scan.dtl >&" + line).status, 0);
    terminal.TakeLine();
    EXPECT_EQ(terminal.Shown(), shown) << format;
  }
}

TEST_F(Dtlexport, CompressedScanIsReadAndNotTouched) {
  const std::string command = "TMPDIR=$PWD dtlexport --format csv scan.dtl";
  Synth("nfs", "2000");
  const std::string rows = Export({"--format", "csv"});
  Synth("nfs", "2000 --compress");
  const std::string packed = ReadFile(scan_);
  EXPECT_TRUE(RunShell(dir_, command).out == rows);
  EXPECT_TRUE(ReadFile(scan_) == packed);
  WriteFile(scan_, packed.substr(0, packed.size() / 2));
  const RunResult run = RunShell(dir_, command);
  EXPECT_EQ(run.status, 1);
  EXPECT_EQ(run.out, "");
  EXPECT_THAT(run.err, HasSubstr("Error occurred during decompression of 'scan.dtl'\n"));
  EXPECT_THAT(dir_.Entries(), testing::ElementsAre("scan.dtl"));
}

}  // namespace
}  // namespace tabulon
