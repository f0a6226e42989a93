#include "query/rest.h"

#include <gtest/gtest.h>

#include <array>
#include <random>
#include <string>
#include <vector>

#include "base/template.h"
#include "batches.h"
#include "query/choosepassing.h"
#include "query/filterplan.h"
#include "query/parsequery.h"
#include "query/testrecord.h"

namespace tabulon {
namespace {

class FilterTest : public testing::Test {
 protected:
  FilterTest() {
    classes_.Add(L"docs")->patterns = {{false, L"doc"},
                                       {false, L"Md"},
                                       {false, L"document"},  // the longest that is packed
                                       {false, L"xmarkdown"},
                                       {true, ConvertTemplate(L"htm?")},
                                       {true, ConvertTemplate(L"x*")}};
    classes_.Add(L"none");
    classes_.Add(L"dots")->patterns = {{false, L""}, {false, L"\xE9t\xE9"}};
  }
  Classes classes_;
  const Scan nfs_ = ScanOfKind(kRootNfs);
};

constexpr uint32_t kDay = 86'400;
constexpr uint32_t kNoon = 43'200;

struct Evaluation {
  const char* query;
  RecordSpec record;
  bool passes;
  int kind = kRootNfs;
  const char* directory = "/d";
};

// clang-format off
const Evaluation kEvaluations[] = {
    // Left to right, without precedence.
    {"size gt 0 [or] name is x [and] size lt 0", {.size = 5, .name = "x"}, false},
    {"size gt 0 [or] (name is x [and] size lt 0)", {.size = 5, .name = "x"}, true},
    {"size eq 9 [and] size eq 9 [or] name is x", {.size = 5, .name = "x"}, true},
    // Comparisons; the order of numbers wraps.
    {"size ge 5 [and] size le 5 [and] size eq 5", {.size = 5}, true},
    {"size ne 5 [or] size lt 5 [or] size gt 5", {.size = 5}, false},
    {"size gt 1", {.size = uint64_t{1} << 63}, true},
    {"size gt 0", {.size = (uint64_t{1} << 63) + 1}, false},
    {"uid eq 7 [and] gid eq 8", {.uid = 7, .gid = 8}, true},
    {"inode eq 9 [and] links eq 2", {.inode = 9, .links = 2}, true},
    {"uid eq 4294967303", {.uid = 7}, false}, {"sdircount eq 1234", {.modified = 1234}, true},
    // Days.
    {"mdate eq 19700111", {.modified = 11 * kDay - 1}, true},
    {"mdate before 19700111", {.modified = 10 * kDay}, false},
    {"mdate after 19700111", {.modified = 10 * kDay + kNoon}, false},
    {"adate since 19700111", {.accessed = 10 * kDay}, true},
    {"cdate upto 19700102", {.created = kDay + kNoon}, true},
    {"adate eq 19700111060000", {.accessed = 10 * kDay + kDay / 4}, false},
    {"mdate since 20370101", {.modified = 0xFFFFFFFF}, true},
    // Names, paths, targets.
    {"name matches *.LOG", {.name = "Error.Log"}, true},
    {"name is r?sum\xC3\xA9", {.name = "R\xC3\xA9SUM\xC3\xA9"}, true},
    {"path is /d\\x", {.name = "x"}, true},
    {"path is /d\\x", {.name = "x"}, true, kRootNfs, "/d\\"},
    {"path is \\x", {.name = "x"}, true, kRootNfs, ""},
    {"path matches /srv~ [and] path ne ~\xC3\xA9", {.name = "x"}, true, kRootNfs, "/srv/\xC3\xA9"},
    {"path matches ~e.txt", {.name = "e.txt"}, true, kRootNfs, "/\xC3\xA9t\xC3\xA9"},
    {"path matches ?:*", {.name = "a/b"}, false, kRootNfs, "C:\\"},
    {"path matches C:*", {.name = "ab"}, false, kRootCifs, "C:\\"},
    {"path matches C:~", {.name = "ab"}, true, kRootCifs, "C:\\"},
    {"target is /etc~", {.flags = kRecordSymlink, .target = "/etc/x"}, true},
    {"target isnot /etc~", {.name = "x"}, false},
    // Attributes and types; on NFS scans the mode's type bits alone make a directory.
    {"attrs includes HS", {.attributes = kAttrHidden}, false, kRootCifs},
    {"attrs excludes HS", {.attributes = kAttrHidden}, true, kRootCifs},
    {"attrs includes HS", {.attributes = 0x7}, true, kRootCifs},
    {"attrs includes ''", {.attributes = 0}, true, kRootCifs},
    {"type is dir", {.attributes = 0x4010}, true, kRootCifs},
    {"type is file", {.attributes = 0x4000}, true, kRootCifs},
    {"type is dir", {.attributes = 0x41ED}, true}, {"type is dir", {.attributes = 0x81B6}, false},
    {"type isnot dir", {.attributes = 0xC010}, true},
    {"type isnot file", {.attributes = 0xA000}, false},
    // Classes; letter case counts on NFS scans, but never in templates.
    {"class is docs", {.name = "a.b.doc"}, true}, {"class is docs", {.name = "a.DOC"}, false},
    {"class is docs", {.name = "a.DOC"}, true, kRootCifs},
    {"class is docs", {.name = "a.HTMx"}, true}, {"class is docs", {.name = "a.htm"}, false},
    {"class is docs", {.name = "a.markdown"}, false},
    {"class is docs", {.name = "a.xmarkdown"}, true},
    {"class is docs", {.name = "a.document"}, true},
    {"class is docs", {.name = "a.x/y"}, true},  // only "\\" separates there
    {"class is docs", {.name = "a.x\\y"}, false}, {"class isnot docs", {.name = "doc."}, true},
    {"class is docs", {.name = "doc"}, false}, {"class isnot docs", {.name = "doc"}, false},
    {"class isnot none", {.name = "a.doc"}, true}, {"class is none", {.name = "a.doc"}, false},
    {"class is dots", {.name = "a.doc."}, true},
    {"class is dots", {.name = "\xE2\x82\xAC.\xC3\xA9t\xC3\xA9"}, true},
    // Objects without a test.
    {"ads ge 0", {.name = "x"}, false, kRootCifs},
    {"owner ne x [or] group is * [or] secdesc excludes x", {.name = "x"}, false, kRootCifs},
    {"dacl ne a\\b [or] sacl excludes a\\b [or] acl eq a\\b", {}, false, kRootCifs},
};
// clang-format on

TEST_F(FilterTest, TestsRecords) {
  for (const Evaluation& row : kEvaluations) {
    SCOPED_TRACE(std::string(row.query) + " on " + row.directory + " " + row.record.name);
    const Scan scan = ScanOfKind(row.kind);
    const Query query = ParseQuery(Wide(row.query), scan, classes_);
    const TestRecord record(row.kind, row.directory, row.record);
    EXPECT_EQ(CheckFilterList(query.head, *record, scan), row.passes);
    EXPECT_EQ(FilterPlan(query, scan).Passes(*record), row.passes);
  }
}

// A path is looked at up to its 511th unit.
TEST_F(FilterTest, CutsLongPaths) {
  for (const size_t length : {1, 508, 509, 510, 511, 600}) {
    for (const std::string name : {"x", "yx", "\xC3\xA9x"}) {
      const std::string directory(length, 'd');
      const std::wstring path = Wide(directory + "\\" + name).substr(0, 511);
      const std::pair<std::wstring, bool> rows[] = {
          {L"path is " + path.substr(0, 255), path.size() <= 255},
          {L"path matches *x", path.back() == L'x'},
          {L"path matches *d", path.back() == L'd'}};
      const TestRecord record(kRootNfs, directory, {.name = name});
      for (const auto& [text, expected] : rows) {
        const Query query = ParseQuery(text, nfs_, classes_);
        EXPECT_EQ(CheckFilterList(query.head, *record, nfs_), expected) << length << name;
        EXPECT_EQ(FilterPlan(query, nfs_).Passes(*record), expected) << length << name;
      }
    }
  }
}

// No query makes the union of all dates, but it has a meaning.
TEST_F(FilterTest, TestsThatNoRecordNeeds) {
  Filter element;
  element.object = kObjAnyDate;
  element.comparison = kEqual;
  element.dateValue = 5 * kDay;
  EXPECT_TRUE(CheckFilter(element, *TestRecord(kRootNfs, "/d", {.accessed = 5 * kDay}), nfs_));
  EXPECT_TRUE(CheckSidUse(true, element, kObjMdate) && !CheckSidUse(true, element, kObjDacl));
}

// Random lists of random tests on random records: the plan must agree with the plain walk.
class RandomQueries {
 public:
  explicit RandomQueries(int kind) : kind_(kind) {}

  std::string List(int depth) {
    const char* connector = Pick({" [and] ", " [or]", nullptr});
    std::string text = Element(depth);
    for (size_t left = random_() % 5; left > 0; --left) {
      text += connector != nullptr ? connector : Pick({" [and]", " [or] "});
      text.append(" ").append(Element(depth));
    }
    return text;
  }

  RecordSpec Record() {
    RecordSpec spec{.flags = random_() % 2 != 0 ? kRecordSymlink : 0,
                    .attributes = static_cast<uint32_t>(random_()) & 0xF037,
                    .created = Time(),
                    .accessed = Time(),
                    .modified = Time(),
                    .size = random_() % 4 + (random_() % 4 << 62),
                    .uid = static_cast<uint32_t>(random_() % 3),
                    .links = static_cast<uint32_t>(random_() % 3)};
    spec.name = std::string(Pick({"a", "b", "backup", "\xC3\xA9", "", kLongName})) +
                Pick({".tmp", ".TMP", ".doc", ".htm1", ".", "", ".\xC3\xA9t\xC3\xA9"});
    spec.target = Pick({"", "/home", "a.tmp"});
    return spec;
  }
  std::string Directory() {
    return Pick({"", "/", "/home/a", "/home\\", "/\xC3\xA9", "/HOME/alice", "/homes/al",
                 "/home/\xC3\xA9t"});
  }

 private:
  const char* Pick(std::vector<const char*> choices) { return choices[random_() % choices.size()]; }
  uint32_t Time() { return static_cast<uint32_t>(random_() % 6 * kNoon - random_() % 2); }

  std::string Element(int depth) {
    if (depth > 0 && random_() % 3 == 0)
      return std::string("(").append(List(depth - 1)).append(")");
    const auto join = [&](const char* object, std::vector<const char*> operators,
                          std::vector<const char*> values) {
      return std::string(object) + " " + Pick(operators) + " " + Pick(values);
    };
    const std::vector<const char*> order = {"eq", "ne", "lt", "le", "gt", "ge"};
    // clang-format off
    const std::vector<const char*> templates = {"a*", "*.tmp", "*.TMP", "*ac*", "/home~", "~e~",
                                                "/home/al*", "/home/?~", "/home/a\\~",
                                                "?.d*", "\xC3\xA9*", "*\xC3\xA9", "''", "*"};
    const bool cifs = kind_ == kRootCifs;
    switch (random_() % 10) {
      case 0: return join("path", {"is", "ne"}, templates);
      case 1: return join("class", {"is", "isnot"}, {"docs", "none", "dots"});
      case 2: return join("type", {"is", "isnot"}, {"dir", "file"});
      case 3: return join(Pick({"mdate", "adate", "cdate"}), order, {"19700101", "19700102", "19700102120000"});
      case 4: return cifs ? join("attrs", {"includes", "excludes"}, {"H", "hs", "D", "''"})
                          : join("target", {"matches", "ne"}, templates);
      case 5: return join(cifs ? "ads" : "uid", order, {"0", "1"});
      case 6: return join(Pick({"size", "sdircount"}), order, {"0", "1", "2"});
      case 7: return join("size", order, {"1", "9223372036854775808", "13835058055282163713"});
      default: return join("name", {"eq", "isnot"}, templates);
    }
    // clang-format on
  }

  // Longer than the quick looks at names go.
  static constexpr const char* kLongName =
      "a name of more than fifty letters, with backup in its tail";
  int kind_;
  std::mt19937 random_{20260};
};

TEST_F(FilterTest, PlansAgreeWithPlainWalk) {
  for (const int kind : {kRootNfs, kRootCifs}) {
    const Scan scan = ScanOfKind(kind);
    RandomQueries random(kind);
    ScanSpec spec{.kind = kind == kRootCifs ? ScanKind::kCifs : ScanKind::kNfs};
    // More than a batch; the first begins before any directory, the second inside one.
    for (int i = 0; i < 220; ++i) {
      spec.records.push_back(i % 5 == 1 ? DirectoryRecord(random.Directory()) : random.Record());
    }
    // Rows of tests of the name or the path, which are rare among the random ones.
    std::vector<std::string> texts = {
        "name is *.doc [or] name is *.tmp",
        "name is *.tmp [or] name is *.htm? [or] name is *.doc [and] size gt 1",
        "name is *.doc [or] name is *ac*",
        "name is *.doc [or] name ne *.tmp",
        "name is b* [or] name is a* [or] name is *.doc [or] name is *.tmp [or] name is *.htm1",
        "name is *xbackup.tmp [or] name is *.doc",
        "path is /homes~ [or] path is /home/al~"};
    for (int i = 0; i < 300; ++i) texts.push_back(random.List(3));
    std::array<size_t, 2> seen = {};
    ForEachBatch(spec, [&](Pass& pass) {
      RecordBatch& batch = pass.batch;
      for (const std::string& text : texts) {
        const Query query = ParseQuery(Wide(text), scan, classes_);
        const FilterPlan plan(query, scan);
        ChoosePassing(plan, pass);
        std::vector<size_t> expected, found;
        for (size_t i = 0; i < batch.size(); ++i) {
          const bool passes = CheckFilterList(query.head, batch.At(i), scan);
          ++seen[passes ? 1 : 0];
          if (passes) expected.push_back(i);
          ASSERT_EQ(plan.Passes(batch.At(i)), passes) << text;
        }
        ForEachChosen(pass, [&](size_t i) { found.push_back(i); });
        ASSERT_EQ(found, expected) << text;
      }
    });
    EXPECT_GT(std::min(seen[0], seen[1]), 5'000U);
  }
}

}  // namespace
}  // namespace tabulon
