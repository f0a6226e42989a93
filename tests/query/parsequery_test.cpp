#include "query/parsequery.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "base/loganderr.h"
#include "base/template.h"
#include "base/utf.h"
#include "detail/detailfile.h"
#include "query/filterplan.h"
#include "query/queryobjects.h"
#include "support.h"
#include "tools/dtlbuild.h"

namespace tabulon {
namespace {

using testing::Eq;
using testing::ExitedWithCode;

std::wstring Wide(std::string_view text) {
  std::wstring wide;
  AppendUtfToWide(wide, text);
  return wide;
}

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
  if ((element.object & kObjAnyDate) != 0) return "@" + std::to_string(element.dateValue);
  if (element.object == kObjClass)
    return "class " + std::to_string(element.fileClass->patterns.size());
  if (element.object == kObjSecdesc) return "text " + DumpPattern(element.text);
  if ((element.object & kObjAcl) != 0) {
    return element.sid != nullptr ? "sid type " + std::to_string(element.sid->type) : "no sid";
  }
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
  void SetUp() override {
    OpenLogErrFiles(0, nullptr, nullptr);
    classList.push_back({L"Docs", {{false, L"doc"}, {true, ConvertTemplate(L"htm?")}}});
  }
  void TearDown() override {
    classList.clear();
    FreeFilters();
    ResetDetailFile();
  }
};

struct GoodQuery {
  int kind;
  const char* text;
  const char* compiled;
};

constexpr int kAnyKind = 0;

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
    {kRootNfs, "name is ''", "name = "},
    {kRootNfs, "name is 'left open", "name = left open"},
    {kRootNfs, "\tname\r\nis\x7Fx ", "name = x"},
    {kRootNfs, "name is '*[and]*' [or] name is \"'*'x\"", "name = <*>[and]<*> or name = *'x"},
    {kRootNfs, "path ne /home~", "path != /home<~>"},
    {kRootNfs, "target eq ?.c", "target = <?>.c"},
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
    {kAnyKind, "uid eq 1 [or] attrs includes R", "uid = 1 or attrs = 1"},
};
// clang-format on

TEST_F(ParseQueryTest, Compiles) {
  for (const GoodQuery& row : kGoodQueries) {
    SCOPED_TRACE(row.text);
    rootType = row.kind;
    EXPECT_EQ(Dump(ParseQuery(Wide(row.text))), row.compiled);
  }
}

struct BadQuery {
  int kind;
  const char* text;
  int position;
  const char* message;
};

// clang-format off
constexpr BadQuery kBadQueries[] = {
    {kRootNfs, "", 0, "incomplete query specification"},
    {kRootNfs, "   ", 3, "incomplete query specification"},
    {kRootNfs, "size gt", 7, "incomplete query specification"},
    {kRootNfs, "name is '", 9, "incomplete query specification"},
    {kRootNfs, "size gt 1 [or]", 14, "incomplete query specification"},
    {kRootNfs, "[and] size gt 1", 6, "invalid query object: [and]"},
    {kRootNfs, "'' is a", 2, "invalid query object: "},
    {kRootNfs, "size like 5", 10, "invalid query operator: like"},
    {kRootNfs, "size is 5", 8, "operator not valid for query object: is"},
    {kRootNfs, "inode ne 5", 9, "operator not valid for query object: ne"},
    {kRootNfs, "size gt 5 and size lt 9", 14, "invalid or missing logic operator: and"},
    {kRootNfs, "owner is x", 6, "object 'owner' not valid with NFS scans"},
    {kRootCifs, "Uid eq 1", 4, "object 'Uid' not valid with CIFS scans"},
    {kRootCifs, "target is 1", 7, "object 'target' not valid with CIFS scans"},
    {kRootNfs, "size gt 10KB ", 13, "invalid filesize value: 10KB"},
    {kRootNfs, "sdircount gt -1", 15, "invalid filesize value: -1"},
    {kRootNfs, "mdate eq 20070230", 17, "Invalid date value: 20070230"},
    {kRootNfs, "uid eq 10K", 10, "Invalid numeric value: 10K"},
    {kRootNfs, "uid eq '1 '", 11, "Invalid numeric value: 1 "},
    {kRootNfs, "type is folder", 14, "Invalid type value: folder"},
    {kRootNfs, "class is Media", 14, "Class not defined: Media"},
    {kRootCifs, "attrs includes hq", 17, "Invalid attribute letter: q"},
    {kRootCifs, "dacl includes ann", 17, "missing domain name: ann"},
    {kRootNfs, "name (", 6, "invalid open parenthesis"},
    {kRootNfs, "name is a(", 10, "invalid open parenthesis"},
    {kRootNfs, "(name is a)(name is b)", 12, "invalid open parenthesis"},
    {kRootNfs, ")", 1, "invalid close parenthesis"},
    {kRootNfs, "()", 2, "invalid close parenthesis"},
    {kRootNfs, "(name is a [and])", 17, "invalid close parenthesis"},
    {kRootNfs, "name is a)", 10, "unmatched close parenthesis"},
    {kRootNfs, "( name is a", 1, "Unmatched open parenthesis"},
    {kRootNfs, "(name is a) [or] ((name is b)", 18, "Unmatched open parenthesis"},
    {kRootNfs, "(size gt x", 10, "invalid filesize value: x"},
    {kRootNfs, "name is 'a\nb'", 11, "NEWLINE in quoted string"},
};
// clang-format on

void ExpectFault(const std::string& text, int position, const std::string& message) {
  SCOPED_TRACE(text.substr(0, 80));
  const std::string expected = "Syntax error: " + text + "\n   in position " +
                               std::to_string(position) + " - " + message + "\n";
  EXPECT_EXIT(ParseQuery(Wide(text)), ExitedWithCode(1), Eq(expected));
}

TEST_F(ParseQueryTest, RefusesWithMessageAndPosition) {
  for (const BadQuery& row : kBadQueries) {
    rootType = row.kind;
    ExpectFault(row.text, row.position, row.message);
  }
}

TEST_F(ParseQueryTest, LimitsTokensAndMessages) {
  const std::string longest(255, 'x');
  EXPECT_EQ(Dump(ParseQuery(Wide("name is " + longest))), "name = " + longest);
  ExpectFault("name is " + longest + "xx", 264, "token too long");
  ExpectFault("name is '" + longest + "('", 265, "token too long");
  ExpectFault(longest, 255, "invalid query object: " + longest);
}

// Units above 255 and below 0 are token characters like any other.
TEST_F(ParseQueryTest, TakesEveryUnitOfWideText) {
  const std::wstring name = {L'\x80', L'\xA0', L'\x20AC', L'\xE20AC', wchar_t{-1}, wchar_t{-224}};
  const Filter* list = ParseQuery(L"name is " + name + L" [and] size gt 0");
  EXPECT_EQ(list->pattern, name);
  EXPECT_EQ(Dump(list->next), "size > 0");
}

TEST_F(ParseQueryTest, LooksAccountsUpAndLogsUnknownOnes) {
  const TempDir dir;
  const std::string path = dir / "scan.dtl", log = dir / "log";
  const std::string bytes =
      BuildDtl({.kind = ScanKind::kCifs,
                .domains = {"CORP"},
                .sids = {{.sid = BinarySid(5, {21, 7}), .name = "ann", .domain = 0, .type = 4}}});
  WriteFile(path, bytes);
  LogHeader header;
  header.securitySection = LoadU64(bytes.data() + dtl_at::kSecuritySection);
  const UniqueFd file(open(path.c_str(), O_RDONLY | O_CLOEXEC));
  LoadSecurityObjects(file.get(), header);
  rootType = kRootCifs;
  OpenLogErrFiles(0, log.c_str(), nullptr);
  const std::string compiled =
      Dump(ParseQuery(L"dacl includes corp\\Ann [or] acl ne CORP\\bob [or] sacl eq \\ann\\x"));
  CloseLogErrFiles();
  FreeSecurityObjects();
  EXPECT_EQ(compiled, "dacl = sid type 4 or acl != no sid or sacl = no sid");
  EXPECT_EQ(ReadFile(log),
            "Unknown domain\\account: CORP\\bob\nUnknown domain\\account: \\ann\\x\n");
}

}  // namespace
}  // namespace tabulon
