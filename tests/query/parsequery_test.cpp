#include "query/parsequery.h"

#include <gmock/gmock.h>

#include <cstring>
#include <string>

#include "base/template.h"
#include "query/testrecord.h"
#include "tests/ending.h"
#include "tests/support/openscan.h"

namespace tabulon {
namespace {

// Wildcards of a coded template print as <?>, <*> and <~>.
std::string DumpPattern(std::wstring_view coded) {
  std::string out;
  for (const wchar_t unit : coded) {
    if (unit >= kWildOne && unit <= kWildPath) {
      out.append("<").append(1, "?*~"[unit - kWildOne]).append(">");
    } else {
      out.append(1, static_cast<char>(unit));
    }
  }
  return out;
}

std::string DumpValue(const Filter& element) {
  constexpr uint32_t kTemplates = kObjName | kObjPath | kObjTarget | kObjOwner | kObjGroup;
  if ((element.object & kObjAnyDate) != 0)
    return std::string("@").append(std::to_string(element.dateValue));
  if (element.object == kObjClass)
    return std::string("class ").append(std::to_string(element.fileClass->patterns.size()));
  if (element.object == kObjSecdesc) return std::string("text ").append(DumpPattern(element.text));
  if ((element.object & kTemplates) != 0) return DumpPattern(element.pattern);
  return std::to_string(element.number);
}

// A compiled list as text: the comparison as a sign, values as they are tested.
std::string Dump(const Filter* list) {
  constexpr std::string_view kSigns[] = {"?", ">", ">=", "<", "<=", "=", "!="};
  std::string out;
  for (const Filter* each = list; each != nullptr; each = each->next) {
    EXPECT_EQ(each->state, each->next != nullptr ? kWantObject : kComplete);
    if (each->sub != nullptr) {
      out.append("(").append(Dump(each->sub)).append(")");
    } else {
      out.append(DumpPattern(FindFilterObject(each->object)->keyword)).append(" ");
      out.append(kSigns[each->comparison]).append(" ").append(DumpValue(*each));
    }
    if (each->next != nullptr) out.append(each->connector == kOr ? " or " : " and ");
  }
  return out;
}

class ParseQueryTest : public testing::Test {
 protected:
  ParseQueryTest() {
    classes_.Add(L"Docs")->patterns = {{false, L"doc"}, {true, ConvertTemplate(L"htm?")}};
  }
  Classes classes_;
};

struct GoodQuery {
  int kind;
  const char *text, *compiled;
};

// clang-format off
constexpr GoodQuery kGoodQueries[] = {
    {kRootNfs, "size gt 10M [and] name matches *.tmp", "size > 10485760 and name = <*>.tmp"},
    {kRootNfs, "SIZE Lt 10k [OR] size GE 0 [And] size le 1G",
     "size < 10000 or size >= 0 and size <= 1073741824"},
    {kRootNfs, "(name is a [or] name is b) [and] size gt 0", "(name = a or name = b) and size > 0"},
    {kRootNfs, "size gt 1 [and](name is a)[or](name is b)",
     "size > 1 and (name = a) or (name = b)"},
    {kRootNfs, "( ( name is a ) )", "((name = a))"},
    {kRootNfs, "name is 'my file.txt'", "name = my file.txt"},
    {kRootNfs, "name is \"it's (1)\"", "name = it's (1)"},
    {kRootNfs, "name is O'Brien", "name = O'Brien"},
    {kRootNfs, "name is 'a'[and] name isnot 'b'", "name = a and name != b"},
    {kRootNfs, "name is ''", "name = "}, {kRootNfs, "name is 'left open", "name = left open"},
    {kRootNfs, "\tname\r\nis\x7Fx ", "name = x"},
    {kRootNfs, "name is '*[and]*' [or] name is \"'*'x\"", "name = <*>[and]<*> or name = *'x"},
    {kRootNfs, "path ne /home~", "path != /home<~>"}, {kRootNfs, "target eq ?.c", "target = <?>.c"},
    {kRootNfs, "adate before 19700103 [or] mdate since 19700104000001 [or] cdate upto 20240229",
     "adate < @172800 or mdate >= @259201 or cdate <= @1709164800"},
    {kRootNfs, "inode eq 18446744073709551615 [and] links gt 1",
     "inode = 18446744073709551615 and links > 1"},
    {kRootNfs, "uid ne 0 [and] gid lt 100", "uid != 0 and gid < 100"},
    {kRootNfs, "uid eq '' [or] size eq ''", "uid = 0 or size = 0"},
    {kRootNfs, "sdircount ge 2K", "sdircount >= 2048"},
    {kRootNfs, "TYPE IS DIR [or] type isnot File", "type = 2 or type != 1"},
    {kRootNfs, "class is DOCS", "class = class 2"},
    {kRootCifs, "attrs includes hs [and] attrs excludes ''", "attrs = 6 and attrs != 0"},
    {kRootCifs, "attrs includes SHRAOCED", "attrs = 22583"},
    {kRootCifs, "ads gt 0 [or] owner is corp\\* [or] group eq x",
     "ads > 0 or owner = corp\\<*> or group = x"},
    {kRootCifs, "secdesc includes Anything", "secdesc = text Anything"},
};
// clang-format on

TEST_F(ParseQueryTest, Compiles) {
  for (const GoodQuery& row : kGoodQueries) {
    SCOPED_TRACE(row.text);
    EXPECT_EQ(Dump(ParseQuery(Wide(row.text), ScanOfKind(row.kind), classes_).head), row.compiled);
  }
}

// The fault is found behind the whole text unless a position is given.
struct BadQuery {
  int kind;
  const char *text, *message;
  int position = -1;
};

constexpr const char* kIncomplete = "incomplete query specification";

// clang-format off
constexpr BadQuery kBadQueries[] = {
    {kRootNfs, "", kIncomplete},
    {kRootNfs, "size gt", kIncomplete},
    {kRootNfs, "name is '", kIncomplete},
    {kRootNfs, "size gt 1 [or]", kIncomplete},
    {kRootNfs, "[and] size gt 1", "invalid query object: [and]", 6},
    {kRootNfs, "'' is a", "invalid query object: ", 2},
    {kRootNfs, "size like 5", "invalid query operator: like", 10},
    {kRootNfs, "size is 5", "operator not valid for query object: is", 8},
    {kRootNfs, "inode ne 5", "operator not valid for query object: ne", 9},
    {kRootNfs, "size gt 5 and size lt 9", "invalid or missing logic operator: and", 14},
    {kRootNfs, "owner is x", "object 'owner' not valid with NFS scans", 6},
    {kRootCifs, "Uid eq 1", "object 'Uid' not valid with CIFS scans", 4},
    {kRootNfs, "size gt 10KB ", "invalid filesize value: 10KB"},
    {kRootNfs, "mdate eq 20070230", "Invalid date value: 20070230"},
    {kRootNfs, "uid eq 10K", "Invalid numeric value: 10K"},
    {kRootNfs, "type is folder", "Invalid type value: folder"},
    {kRootNfs, "class is Media", "Class not defined: Media"},
    {kRootCifs, "attrs includes hq", "Invalid attribute letter: q"},
    {kRootCifs, "dacl includes ann", "missing domain name: ann"},
    {kRootNfs, "name (", "invalid open parenthesis"},
    {kRootNfs, "name is a(", "invalid open parenthesis"},
    {kRootNfs, "(name is a)(name is b)", "invalid open parenthesis", 12},
    {kRootNfs, ")", "invalid close parenthesis"}, {kRootNfs, "()", "invalid close parenthesis"},
    {kRootNfs, "(name is a [and])", "invalid close parenthesis"},
    {kRootNfs, "name is a)", "unmatched close parenthesis"},
    {kRootNfs, "( name is a", "Unmatched open parenthesis", 1},
    {kRootNfs, "(name is a) [or] ((name is b)", "Unmatched open parenthesis", 18},
    {kRootNfs, "name is 'a\nb'", "NEWLINE in quoted string", 11},
};
// clang-format on

void ExpectFault(const std::string& text, int position, const std::string& message,
                 int kind = kRootNfs) {
  SCOPED_TRACE(text.substr(0, 80));
  const std::string expected = "Syntax error: " + text + "\n   in position " +
                               std::to_string(position) + " - " + message + "\n";
  EXPECT_ENDS(ParseQuery(Wide(text), ScanOfKind(kind), Classes()), 1, expected);
}

TEST_F(ParseQueryTest, RefusesWithMessageAndPosition) {
  for (const auto& [kind, text, message, position] : kBadQueries) {
    ExpectFault(text, position < 0 ? static_cast<int>(std::strlen(text)) : position, message, kind);
  }
}

TEST_F(ParseQueryTest, LimitsTokensAndMessages) {
  const std::string longest(255, 'x');
  EXPECT_EQ(Dump(ParseQuery(Wide("name is " + longest), ScanOfKind(kRootNfs), classes_).head),
            "name = " + longest);
  ExpectFault("name is " + longest + "xx", 264, "token too long");
  ExpectFault("name is '" + longest + "('", 265, "token too long");
  ExpectFault(longest, 255, "invalid query object: " + longest);
}

// Units above 255 and below 0 are token characters like any other.
TEST_F(ParseQueryTest, TakesEveryUnitOfWideText) {
  const std::wstring name = {L'\x80', L'\xA0', L'\x20AC', L'\xE20AC', wchar_t{-1}, wchar_t{-224}};
  const Query query =
      ParseQuery(L"name is " + name + L" [and] size gt 0", ScanOfKind(kRootNfs), classes_);
  const Filter* list = query.head;
  EXPECT_EQ(list->pattern, name);
  EXPECT_EQ(Dump(list->next), "size > 0");
}

}  // namespace
}  // namespace tabulon
