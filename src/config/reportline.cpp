#include "config/reportline.h"

#include <algorithm>
#include <array>
#include <iterator>

#include "base/loganderr.h"
#include "config/keywords.h"
#include "config/parameters.h"
#include "config/reportdefs.h"
#include "config/settings.h"
#include "query/parsequery.h"

namespace tabulon {
namespace {

using Text = std::wstring_view;

constexpr uint32_t kNameForms = kFlagFileInDir | kFlagFullPath;
constexpr uint32_t kPathForms = kFlagRelative | kFlagAbsolute;

constexpr Choice<int> kFormats[] = {
    {L"csv", kFormatCsv}, {L"standard", kFormatText}, {L"none", kFormatNone}};
constexpr Choice<uint32_t> kNameFormWords[] = {{L"fileindir", kFlagFileInDir},
                                               {L"fullpath", kFlagFullPath}};
constexpr Choice<uint32_t> kPathFormWords[] = {{L"relative", kFlagRelative},
                                               {L"absolute", kFlagAbsolute}};
constexpr Choice<int> kTypeSorts[] = {{L"count", kSortByCount}, {L"size", kSortBySize}};

void SetFlags(Report& report, uint32_t mask, uint32_t flags) {
  report.flags = (report.flags & ~mask) | flags;
}

void SetYesNoFlag(Report& report, uint32_t flag, Text key, Text value) {
  SetFlags(report, flag, ValidateYesNo(key, value) != 0 ? flag : 0);
}

// An element that stands for `list` in parentheses.
Filter* NewGroup(Filter* list) {
  Filter* const group = NewFilter();
  group->sub = list;
  group->state = kComplete;
  group->connector = kTestComplete;
  return group;
}

// Joins `added` to the report's filter with "[and]". Lists are evaluated from left to right, so
// both sides must be one value: the new list becomes a group, the old one too unless it begins with
// one (then every element of it is already joined to what stands before it).
void AddFilter(Report& report, Filter* added) {
  if (report.filter == nullptr) {
    report.filter = added;
    return;
  }
  if (report.filter->sub == nullptr) report.filter = NewGroup(report.filter);
  Filter* last = report.filter;
  while (last->next != nullptr) last = last->next;
  last->connector = kAnd;
  last->next = NewGroup(added);
}

void SetFormat(Text key, Text value, Report& report, const Scan&) {
  report.format = Choose(kFormats, value, L"Invalid keyword value: %ls = %ls\n", key, value);
}

void SetFields(Text, Text value, Report& report, const Scan&) {
  report.fields =
      report.type == kReportSummary ? ValidateSummaryFields(value) : ValidateFieldList(value);
}

void AddFilterLine(Text, Text value, Report& report, const Scan& scan) {
  AddFilter(report, ParseQuery(value, scan));
}

void SetNameForm(Text key, Text value, Report& report, const Scan&) {
  SetFlags(report, kNameForms,
           Choose(kNameFormWords, value, L"Invalid keyword value: %ls = %ls\n", key, value));
}

void SetPathForm(Text key, Text value, Report& report, const Scan&) {
  SetFlags(report, kPathForms,
           Choose(kPathFormWords, value, L"Invalid keyword value:  %ls = %ls\n", key, value));
}

void SetReportFile(Text, Text value, Report& report, const Scan&) {
  SaveString(report.reportFile, value);
  report.hasReportFile = true;
}

void SetTypeSort(Text key, Text value, Report& report, const Scan&) {
  report.typeSort = Choose(kTypeSorts, value, L"Invalid keyword value: %ls = %ls\n", key, value);
}

struct ReportKeyword {
  Text keyword;
  void (*apply)(Text key, Text value, Report& report, const Scan& scan);
  bool exactCase = false;
};

constexpr std::array<ReportKeyword, 20> kReportKeywords = {{
    {L"type", [](Text, Text value, Report& report,
                 const Scan& scan) { ValidateReportType(value, report, scan); }},
    {L"inactive",
     [](Text key, Text value, Report& report, const Scan&) {
       if (ValidateYesNo(key, value) != 0) report.active = -1;
     }},
    {L"category",
     [](Text, Text value, Report& report, const Scan&) { CheckCategoryList(value, report); }},
    {L"title",
     [](Text, Text value, Report& report, const Scan&) { SaveString(report.title, value); }},
    {L"qvatag", [](Text, Text value, Report& report,
                   const Scan&) { SaveString(report.qvaTag.emplace(), value); }},
    {L"totaltag", [](Text, Text value, Report& report,
                     const Scan&) { SaveString(report.totalTag.emplace(), value); }},
    {L"output", SetFormat},
    {L"format", SetFormat},
    {L"fields", SetFields},
    {L"filter", AddFilterLine},
    {L"select", AddFilterLine},
    {L"nameform", SetNameForm},
    {L"pathform", SetPathForm},
    {L"showsids", [](Text key, Text value, Report& report,
                     const Scan&) { SetYesNoFlag(report, kFlagShowSids, key, value); }},
    {L"totals", [](Text key, Text value, Report& report,
                   const Scan&) { SetYesNoFlag(report, kFlagTotals, key, value); }},
    // The one keyword that is not known in capitals. Kept so.
    {L"showlink",
     [](Text key, Text value, Report& report, const Scan&) {
       SetYesNoFlag(report, kFlagShowLink, key, value);
     },
     true},
    {L"reportfile", SetReportFile},
    {L"dupcheck", [](Text, Text value, Report& report,
                     const Scan&) { report.dupFields |= ValidateDupFields(value); }},
    {L"extlen", [](Text key, Text value, Report& report,
                   const Scan&) { report.extLength = SmallNumericParameter(key, value); }},
    {L"typesort", SetTypeSort},
}};

}  // namespace

void ReportLine(std::wstring_view key, std::wstring_view value, Report& report, const Scan& scan) {
  const ReportKeyword* const row = FindKeyword(kReportKeywords, key);
  if (report.type == 0 && row != &kReportKeywords.front()) {
    ErrExit(L"The first line of a report section must be type=<report-type>\n");
  }
  if (row == nullptr || (row->exactCase && row->keyword != key)) {
    ErrExit(L"Invalid report definition keyword: %ls\n", key);
  }
  row->apply(key, value, report, scan);
}

void ValidateReportType(std::wstring_view value, Report& report, const Scan& scan) {
  if (report.type != 0) ErrExit(L"Only one 'type=<report-type>' allowed in report section\n");
  const ReportDef* const def = FindReportType(value);
  if (def == nullptr) ErrExit(L"Unknown report type: %ls\n", value);
  constexpr uint32_t kScanBits = kCifsOnly | kNfsOnly;
  report.type = def->codeWord & ~kScanBits;
  report.flags |= def->codeWord & kScanBits;
  SaveString(report.typeName, value);
  report.title = def->title.empty() ? def->makeTitle() : std::wstring(def->title);
  if (report.type == kReportSummary || report.type == kReportSidUse) {
    MoveToListHead(report, report.type == kReportSidUse);
  }
  if (report.type == kReportSubdirCount && (scan.logHdr.revision & kRevisionSubdirCounts) == 0) {
    ErrExit(
        L"This dtl does not support subdirectory counts. Please remove subdircount report type "
        L"from "
        L"the config file, or execute another scan with the latest version of trawlix.");
  }
}

void MoveToListHead(const Report& report, bool behindSummary) {
  auto place = reportList.begin();
  if (behindSummary && place->type == kReportSummary) ++place;
  // Looked for from the back: a report that is being read stands there.
  const auto found = std::find_if(reportList.rbegin(), reportList.rend(),
                                  [&](const Report& entry) { return &entry == &report; });
  reportList.splice(place, reportList, std::prev(found.base()));
}

void CheckCategoryList(std::wstring_view value, Report& report) {
  if (report.active < 0) return;
  bool selected = false;
  for (const std::wstring& wanted : catList) {
    selected = selected || EqualIgnoringCase(wanted, L"all");
    ForEachItem(value, [&](std::wstring_view name) {
      selected = selected || EqualIgnoringCase(wanted, name);
    });
  }
  if (!selected) report.active = 0;
}

}  // namespace tabulon
