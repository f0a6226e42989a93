// dtldiff as its users meet it: held against the difference of two exports on made-up pairs of
// scans, what counts as moved, and what is shown.
#include <fcntl.h>

#include <map>
#include <random>
#include <utility>

#include "companion.h"
#include "tools/dtldiff/comparison.h"

namespace tabulon {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class Dtldiff : public testing::Test {
 protected:
  TempDir dir_;
  const std::string old_ = dir_ / "old.dtl", new_ = dir_ / "new.dtl";

  // The rows of a comparison that must find something, or nothing.
  std::vector<std::string> Rows(std::vector<std::string> args, int status = 1) {
    args.insert(args.end(), {old_, new_});
    return Lines(OutputOf("dtldiff", std::move(args), status));
  }
  // Writes rows of JSON, without moves, of a comparison that can hold two entries of each kind in
  // memory.
  void CompareHoldingTwo(const std::string& rows) {
    DiffOptions options;
    options.format = DiffFormat::kNdjson;
    options.moves = false;
    options.held = 2;
    const QueriedScan older(old_, std::nullopt), newer(new_, std::nullopt);
    const UniqueFd output(open(rows.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600));
    Changes changes(options, older, newer, output.get());
    EXPECT_TRUE(ScanComparison(options, older, newer, changes).Run());
    changes.End();
  }
  // Rows of CSV without their header.
  std::vector<std::string> CsvRows(std::vector<std::string> args, int status = 1) {
    args.insert(args.begin(), {"--format", "csv"});
    std::vector<std::string> rows = Rows(std::move(args), status);
    rows.erase(rows.begin());
    return rows;
  }
  void Write(std::vector<RecordSpec> before, std::vector<RecordSpec> after,
             ScanKind kind = ScanKind::kNfs) {
    WriteDtl(old_, {.kind = kind,
                    .rootPath = "/r",
                    .records = std::move(before),
                    .ids = {{.id = 7, .name = "ann"}}});
    WriteDtl(new_, {.kind = kind, .rootPath = "/r", .records = std::move(after)});
  }
};

RecordSpec File(const std::string& name, RecordSpec rest = {}) {
  if (rest.attributes == 0) rest.attributes = 0100644;
  return FileRecord(name, rest);
}

// ---- Against the difference of two exports

using Random = std::mt19937;  // the same numbers in each run

unsigned Below(Random& random, unsigned end) {
  return static_cast<unsigned>(random() % end);
}

using Tree = std::map<std::string, std::vector<RecordSpec>>;  // files by directory

RecordSpec RandomFile(Random& random, const std::string& name) {
  RecordSpec rest{
      .attributes = Below(random, 9) == 0 ? 0010644u : 0100644u,
      .modified = Below(random, 3),
      .size = Below(random, 4) == 0 ? (uint64_t{1} << 62) + Below(random, 3) : Below(random, 5)};
  return Below(random, 8) == 0 ? LinkRecord(name, Below(random, 2) == 0 ? "t" : "u", rest)
                               : FileRecord(name, rest);
}

Tree RandomTree(Random& random, char separator) {
  const std::string hostile[] = {"\xFF", "a,\"b", "\n", " ", "-", "\xC3\xA4", "\x01"};
  Tree tree;
  std::string path(1, separator);
  const unsigned directories = 1 + Below(random, 12);
  for (unsigned i = 0; i < directories; ++i) {
    std::vector<RecordSpec>& files = tree[path];
    const unsigned count = Below(random, i == 0 ? 90 : 7);
    for (unsigned j = 0; j < count; ++j) {
      files.push_back(RandomFile(random, hostile[Below(random, 7)] + std::to_string(j)));
    }
    path = (i % 3 == 0 ? std::string() : path) + separator + hostile[Below(random, 7)] +
           std::to_string(i);
  }
  return tree;
}

// Some files and directories go, come, or change.
void Disturb(Random& random, Tree& tree) {
  for (auto each = tree.begin(); each != tree.end();) {
    std::vector<RecordSpec>& files = each->second;
    std::erase_if(files, [&](const RecordSpec&) { return Below(random, 10) == 0; });
    for (RecordSpec& file : files) {
      if (Below(random, 6) == 0) file = RandomFile(random, file.name);
    }
    if (Below(random, 4) == 0) files.insert(files.begin(), RandomFile(random, "new"));
    if (Below(random, 4) == 0) std::shuffle(files.begin(), files.end(), random);
    each = Below(random, 8) == 0 ? tree.erase(each) : std::next(each);
  }
  if (Below(random, 3) == 0) tree["/only in new"] = {RandomFile(random, "x")};
}

ScanSpec SpecOf(Random& random, ScanKind kind, const Tree& tree) {
  std::vector<std::string> paths;
  for (const auto& [path, files] : tree) paths.push_back(path);
  if (Below(random, 2) == 0) std::shuffle(paths.begin(), paths.end(), random);
  ScanSpec spec{.kind = kind, .rootPath = "/r", .records = {}};
  std::vector<RecordSpec> later;  // of directories that come twice
  for (const std::string& path : paths) {
    const std::vector<RecordSpec>& files = tree.at(path);
    const size_t now = Below(random, 4) == 0 ? Below(random, 40) : files.size();
    for (size_t i = 0; i < files.size(); ++i) {
      std::vector<RecordSpec>& records = i < now ? spec.records : later;
      if (i == 0 || i == now) records.push_back(DirectoryRecord(path));
      records.push_back(files[i]);
    }
  }
  spec.records.insert(spec.records.end(), later.begin(), later.end());
  return spec;
}

// Holds rows of changes against what the rows of all files, before and after, say. Prints how many
// there are.
constexpr char kCheckChanges[] = R"(
import json, sys
def rows(name):
    with open(name, encoding='utf-8') as file:
        return [json.loads(line) for line in file]
def sorted_lines(rows):
    return sorted(json.dumps(row, sort_keys=True) for row in rows)
def files(name):  # by their paths
    return {tuple((key, row.pop(key)) for key in ('path', 'path_bytes') if key in row): row
            for row in rows(name)}
old, new, expected = files('before'), files('after'), []
for path in old.keys() | new.keys():
    before, after = (each[path]['size'] if path in each else -1 for each in (old, new))
    if old.get(path) == new.get(path):
        continue
    change = ('appeared' if before < 0 else 'vanished' if after < 0 else 'grew' if after > before
              else 'shrank' if after < before else 'rewritten')
    before, after = max(before, 0), max(after, 0)
    expected.append({'change': change, 'bytes_before': before, 'bytes_after': after,
                     'difference': after - before, **dict(path), 'new_path': None})
for name in sys.argv[1:]:
    assert sorted_lines(rows(name)) == sorted_lines(expected), (name, expected)
print(len(expected))
)";

TEST_F(Dtldiff, IsTheDifferenceOfTwoExports) {
  WriteFile(dir_ / "check.py", kCheckChanges);
  const std::string commands =
      "export='dtlexport --format ndjson --fields path,size,modified,type,target'; "
      "$export old.dtl > before; $export new.dtl > after; "
      "dtldiff --format ndjson --no-moves old.dtl new.dtl > sorted; statuses=$?; "
      "dtldiff --format ndjson --no-moves --scan-order old.dtl new.dtl > unsorted; "
      "echo $statuses $?; python3 check.py sorted unsorted held";
  unsigned long changes = 0;
  for (unsigned seed = 1; seed <= 40; ++seed) {
    Random random(seed);
    const ScanKind kind = seed % 2 == 0 ? ScanKind::kNfs : ScanKind::kCifs;
    Tree tree = RandomTree(random, kind == ScanKind::kNfs ? '/' : '\\');
    WriteDtl(old_, SpecOf(random, kind, tree));
    if (seed % 10 != 0) Disturb(random, tree);
    WriteDtl(new_, SpecOf(random, kind, tree));
    CompareHoldingTwo(dir_ / "held");
    const RunResult run = RunShell(dir_, commands);
    ASSERT_EQ(run.status, 0) << seed << run.err;
    const unsigned long found = std::stoul(run.out.substr(4));
    EXPECT_EQ(run.out.substr(0, 4), found > 0 ? "1 1\n" : "0 0\n") << seed;
    changes += found;
  }
  EXPECT_GT(changes, 500u);
}

// ---- Kinds and their order

TEST_F(Dtldiff, KindsInTheOrderOfTheirDifference) {
  const RecordSpec other = {.attributes = 0100600, .accessed = 3, .uid = 4};
  Write({DirectoryRecord("/d"), File("grew", {.size = 1}), File("shrank", {.size = 9}),
         File("gone", {.modified = 1, .size = 9}), File("rewritten"), File("type"),
         LinkRecord("link", "t"), File("metadata"), File("same", {.size = 77})},
        {DirectoryRecord("/d"), File("grew", {.size = 4}), File("shrank", {.size = 2}),
         File("rewritten", {.modified = 1}), File("type", {.attributes = 0010644}),
         LinkRecord("link", "u"), File("metadata", other), File("same", {.size = 77}),
         File("born", {.size = 7, .inode = 1})});
  EXPECT_EQ(OutputOf("dtldiff", {"--format", "csv", "--metadata", old_, new_}, 1),
            "change,bytes_before,bytes_after,difference,path,new_path\n"
            "vanished,9,0,-9,/r/d/gone,\n"
            "appeared,0,7,7,/r/d/born,\n"
            "shrank,9,2,-7,/r/d/shrank,\n"
            "grew,1,4,3,/r/d/grew,\n"
            "rewritten,0,0,0,/r/d/link,\n"
            "changed,0,0,0,/r/d/metadata,\n"
            "rewritten,0,0,0,/r/d/rewritten,\n"
            "rewritten,0,0,0,/r/d/type,\n");
  EXPECT_EQ(OutputOf("dtldiff", {"--only", "shrank,grew,appeared", "--top", "2", old_, new_}, 1),
            "change    difference      before       after  path\n"
            "appeared    +7 bytes     0 bytes     7 bytes  /r/d/born\n"
            "shrank      -7 bytes     9 bytes     2 bytes  /r/d/shrank\n"
            "… and 1 more\n"
            "\n"
            "change            files  difference      before       after\n"
            "appeared              1    +7 bytes     0 bytes     7 bytes\n"
            "grew                  1    +3 bytes     1 bytes     4 bytes\n"
            "shrank                1    -7 bytes     9 bytes     2 bytes\n");
  EXPECT_EQ(OutputOf("dtldiff", {"--summary", "--format", "csv", old_, new_}, 1),
            "change,files,bytes_before,bytes_after,difference\nappeared,1,0,7,7\n"
            "vanished,1,9,0,-9\ngrew,1,1,4,3\nshrank,1,9,2,-7\nrewritten,3,0,0,0\n");
  EXPECT_THAT(Rows({"--format", "ndjson", "--only", "grew"}),
              ElementsAre(R"({"change":"grew","bytes_before":1,"bytes_after":4,"difference":3,)"
                          R"("path":"/r/d/grew","new_path":null})"));
  EXPECT_EQ(
      OutputOf("dtldiff",
               {"--format", "paths0", "--only", "vanished,grew", "--top", "9", old_, new_}, 1),
      std::string("/r/d/gone\0/r/d/grew\0", 20));
  // The query looks at the newer file, at the older of those that vanished.
  EXPECT_THAT(CsvRows({"--where", "size eq 2 [or] size eq 9"}),
              ElementsAre("vanished,9,0,-9,/r/d/gone,", "shrank,9,2,-7,/r/d/shrank,"));
  EXPECT_THAT(CsvRows({"--where", "size eq 1"}, 0), IsEmpty());
  EXPECT_EQ(OutputOf("dtldiff", {"--only", "moved", old_, new_}, 0), "");
}

TEST_F(Dtldiff, FilesThatMoved) {
  struct Row {
    ScanKind kind;
    std::vector<RecordSpec> before, after;
    std::vector<std::string> rows;
  };
  const auto nfs = ScanKind::kNfs, cifs = ScanKind::kCifs;
  const RecordSpec one = {.modified = 1, .size = 3, .inode = 5};
  RecordSpec linked = one, later = one, none = one, created = one;
  linked.links = 3;
  later.modified = 2;
  none.inode = 0;
  created.created = 8;
  const auto in = [](const std::string& dir, std::vector<RecordSpec> files) {
    files.insert(files.begin(), DirectoryRecord(dir));
    return files;
  };
  // clang-format off
  const Row rows[] = {
      {nfs, in("/a", {File("x", one)}), in("/b", {File("y", one)}),
       {"moved,3,3,0,/r/a/x,/r/b/y"}},
      {nfs, in("/a", {File("x", one)}), in("/a", {File("y", later)}),
       {"vanished,3,0,-3,/r/a/x,", "appeared,0,3,3,/r/a/y,"}},
      {nfs, in("/a", {File("x", none)}), in("/a", {File("y", none)}),
       {"vanished,3,0,-3,/r/a/x,", "appeared,0,3,3,/r/a/y,"}},
      // Two files of one inode on two devices: nobody knows which is which.
      {nfs, in("/a", {File("x", one)}), in("/a", {File("y", one), File("z", one)}),
       {"vanished,3,0,-3,/r/a/x,", "appeared,0,3,3,/r/a/y,", "appeared,0,3,3,/r/a/z,"}},
      // Names of one file, in the order of their paths.
      {nfs, in("/a", {File("n", linked), File("m", linked), File("stays", linked)}),
       in("/b", {File("q", linked), File("o", linked), File("p", linked)}),
       {"moved,3,3,0,/r/a/m,/r/b/o", "moved,3,3,0,/r/a/n,/r/b/p", "moved,3,3,0,/r/a/stays,/r/b/q"}},
      {nfs, in("/a", {File("n", linked), File("m", linked), File("stays", linked)}),
       in("/a", {File("o", linked), File("stays", linked)}),
       {"vanished,3,0,-3,/r/a/n,", "moved,3,3,0,/r/a/m,/r/a/o"}},
      {cifs, in("\\a", {File("x", created)}), in("\\b", {File("x", created)}),
       {"moved,3,3,0,/r\\a\\x,/r\\b\\x"}},
      {cifs, in("\\a", {File("x", created)}), in("\\b", {File("x", one)}),
       {"vanished,3,0,-3,/r\\a\\x,", "appeared,0,3,3,/r\\b\\x,"}},
      {cifs, in("\\a", {File("x", created)}), in("\\b", {File("y", created)}),
       {"vanished,3,0,-3,/r\\a\\x,", "appeared,0,3,3,/r\\b\\y,"}},
  };
  // clang-format on
  for (const Row& row : rows) {
    Write(row.before, row.after, row.kind);
    EXPECT_EQ(CsvRows({}), row.rows);
  }
  Write(rows[0].before, rows[0].after);
  EXPECT_EQ(OutputOf("dtldiff", {"--format", "paths0", old_, new_}, 1), std::string("/r/b/y\0", 7));
  EXPECT_THAT(Rows({}).at(1), testing::EndsWith("  /r/a/x -> /r/b/y"));
}

}  // namespace
}  // namespace tabulon
