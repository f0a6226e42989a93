#include "config/reportline.h"

#include <functional>

#include "config/reportdefs.h"
#include "configtest.h"

namespace tabulon {
namespace {

using ::testing::ElementsAre;

// A report of the list, its lines applied one by one.
class ReportLines : public ConfigTest {
 protected:
  static Report& Add(const wchar_t* type) {
    Report& report = reportList.emplace_back();
    ReportLine(L"type", type, report);
    return report;
  }

  static std::vector<std::wstring> TypesInOrder() {
    std::vector<std::wstring> types;
    for (const Report& report : reportList) types.push_back(report.typeName);
    return types;
  }

  // A filter list as text: values, groups in parentheses, connectors.
  static std::wstring Dump(const Filter* list) {
    std::wstring out;
    for (; list != nullptr; list = list->next) {
      out += list->sub != nullptr ? L"(" + Dump(list->sub) + L")" : list->text;
      out += list->connector == kAnd ? L" and " : list->connector == kOr ? L" or " : L"";
    }
    return out;
  }
};

TEST_F(ReportLines, TypesHaveCodeScanKindAndTitle) {
  isoCodeName = L"8859-5";
  maxPath = 260;
  maxPathUnitName = L"characters";
  struct Row {
    const wchar_t* keyword;
    uint32_t type;
    uint32_t flags;
    const wchar_t* title;
  };
  const Row rows[] = {
      {L"CUSTOM", 0xE00, 0, L"Custom file report"},
      {L"mountpoints", 0x2000, 0x80000000, L"Mount point links"},
      {L"uidtotals", 0x30, 0x40000000, L"Totals by UID"},
      {L"longpaths", 0xB00, 0, L"Files with pathnames exceeding 260 characters"},
      {L"utfrequired", 0xC00, 0x80000000,
       L"Files with names requiring UTF-8 based on codepage 8859-5"},
  };
  for (const Row& row : rows) {
    const Report& report = Add(row.keyword);
    EXPECT_EQ(report.type, row.type);
    EXPECT_EQ(report.flags, row.flags);
    EXPECT_EQ(report.title, row.title);
    EXPECT_EQ(report.typeName, row.keyword);
  }
  maxPath = 4294967294;
  EXPECT_EQ(Add(L"longpaths").title, L"Files with pathnames exceeding -2 characters");
}

TEST_F(ReportLines, SummaryAndSidUseMoveToTheFront) {
  Add(L"custom");
  Report& sids = Add(L"siduse");
  EXPECT_THAT(TypesInOrder(), ElementsAre(L"siduse", L"custom"));
  Add(L"Summary");
  EXPECT_THAT(TypesInOrder(), ElementsAre(L"Summary", L"siduse", L"custom"));
  Report& second = Add(L"SIDUSE");
  EXPECT_THAT(TypesInOrder(), ElementsAre(L"Summary", L"SIDUSE", L"siduse", L"custom"));
  Add(L"summary");
  EXPECT_THAT(TypesInOrder(), ElementsAre(L"summary", L"Summary", L"SIDUSE", L"siduse", L"custom"));
  // Entries keep their identity: lines that follow reach the right report.
  ReportLine(L"title", L"first", sids);
  ReportLine(L"title", L"second", second);
  EXPECT_EQ(reportList.back().typeName, L"custom");
  EXPECT_EQ(std::prev(reportList.end(), 2)->title, L"first");
}

TEST_F(ReportLines, KeywordsSetTheEntry) {
  struct Row {
    const wchar_t* key;
    const wchar_t* value;
    std::function<uint64_t(const Report&)> setting;
    uint64_t expected;
  };
  const auto flags = [](const Report& report) { return report.flags; };
  const auto format = [](const Report& report) { return report.format; };
  const auto dups = [](const Report& report) { return report.dupFields; };
  const auto fields = [](const std::string& codes) {
    return [=](const Report& report) { return report.fields == codes; };
  };
  // Applied to one report in this order.
  const Row rows[] = {
      {L"OUTPUT", L"CSV", format, 2},
      {L"output", L"none", format, 3},
      {L"nameform", L"fileindir", flags, 1},
      {L"NameForm", L"FullPath", flags, 2},
      {L"pathform", L"absolute", flags, 2 + 32},
      {L"showsids", L"yes", flags, 2 + 32 + 4},
      {L"totals", L"YES", flags, 2 + 32 + 4 + 8},
      {L"showlink", L"yes", flags, 2 + 32 + 4 + 8 + 64},
      {L"showsids", L"no", flags, 2 + 32 + 8 + 64},
      {L"totals", L"no", flags, 2 + 32 + 64},
      {L"dupcheck", L"Name,mdate", dups, 5},
      {L"dupcheck", L"size,CDATE,extension,size", dups, 31},
      {L"extlen", L"4294967294", [](const Report& r) { return r.extLength; }, 4294967294},
      {L"typesort", L"Size", [](const Report& r) { return r.typeSort; }, 2},
      {L"fields", L"size,name,mdate", fields("\x1\x3\x6"), true},
      {L"fields", L"uid,uid,attrs", fields("\x1\x4F\x4F\x88"), true},
      {L"fields", L"name", fields("\x1"), true},
      {L"inactive", L"no", [](const Report& r) { return r.active; }, 1},
  };
  Report& report = Add(L"custom");
  for (const Row& row : rows) {
    ReportLine(row.key, row.value, report);
    EXPECT_EQ(row.setting(report), row.expected) << Formatted(L"%ls=%ls", row.key, row.value);
  }
  Report& summary = Add(L"summary");
  ReportLine(L"fields", L"dtlname,tag", summary);
  EXPECT_EQ(summary.fields, "\xB\x1");
}

TEST_F(ReportLines, FilterLinesMustAllPass) {
  struct Row {
    std::vector<const wchar_t*> lines;
    const wchar_t* dump;
  };
  const Row rows[] = {
      {{L"name is a"}, L"a"},
      {{L"name is a [or] name is b", L"name is c"}, L"(a or b) and (c)"},
      {{L"name is a", L"name is b [or] name is c", L"name is d"}, L"(a) and (b or c) and (d)"},
      {{L"(name is a [or] name is b) [or] name is c", L"name is d"}, L"(a or b) or c and (d)"},
  };
  for (const Row& row : rows) {
    Report& report = Add(L"custom");
    const wchar_t* key = L"filter";
    for (const wchar_t* line : row.lines) {
      ReportLine(key, line, report);
      key = L"SELECT";
    }
    EXPECT_EQ(Dump(report.filter), row.dump);
  }
}

TEST_F(ReportLines, CategoriesSelectReports) {
  struct Row {
    std::list<std::wstring> selected;
    std::vector<const wchar_t*> categories;
    int active;
  };
  const Row rows[] = {
      {{}, {}, 1},
      {{}, {L"weekly"}, 0},
      {{L"Weekly"}, {L"daily,WEEKLY"}, 1},
      {{L"weekly"}, {L"daily, weekly"}, 0},
      {{L"week"}, {L"weekly"}, 0},
      {{L"ALL"}, {L"weekly"}, 1},
      {{L"x", L"daily"}, {L"daily", L"weekly"}, 0},
      {{L"daily"}, {L"weekly", L"daily"}, 0},
  };
  for (const Row& row : rows) {
    catList = row.selected;
    Report& report = Add(L"custom");
    for (const wchar_t* category : row.categories) ReportLine(L"category", category, report);
    EXPECT_EQ(report.active, row.active) << row.categories.size();
    ReportLine(L"inactive", L"yes", report);
    catList = {L"all"};
    ReportLine(L"category", L"x", report);
    EXPECT_EQ(report.active, -1);
  }
}

}  // namespace
}  // namespace tabulon
