#include "config/reportline.h"

#include <algorithm>
#include <array>
#include <iterator>

#include "base/loganderr.h"
#include "config/keywords.h"
#include "config/parameters.h"
#include "config/reportfields.h"
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

void SetFlags(ReportDefinition& report, uint32_t mask, uint32_t flags) {
  report.flags = (report.flags & ~mask) | flags;
}

void SetYesNoFlag(ReportDefinition& report, uint32_t flag, Text key, Text value) {
  SetFlags(report, flag, ValidateYesNo(key, value) != 0 ? flag : 0);
}

void SetFormat(Text key, Text value, ReportDefinition& report, const ConfigContext&) {
  report.format = Choose(kFormats, value, L"Invalid keyword value: %ls = %ls\n", key, value);
}

void SetFields(Text, Text value, ReportDefinition& report, const ConfigContext&) {
  report.fields =
      report.type() == kReportSummary ? ValidateSummaryFields(value) : ValidateFieldList(value);
}

void AddFilterLine(Text, Text value, ReportDefinition& report, const ConfigContext& context) {
  const Configuration& made = context.made;
  report.filter.And(ParseQuery(value, context.scan, made.classes, made.settings.scanDateRelative));
}

void SetNameForm(Text key, Text value, ReportDefinition& report, const ConfigContext&) {
  SetFlags(report, kNameForms,
           Choose(kNameFormWords, value, L"Invalid keyword value: %ls = %ls\n", key, value));
}

void SetPathForm(Text key, Text value, ReportDefinition& report, const ConfigContext&) {
  SetFlags(report, kPathForms,
           Choose(kPathFormWords, value, L"Invalid keyword value:  %ls = %ls\n", key, value));
}

void SetReportFile(Text, Text value, ReportDefinition& report, const ConfigContext&) {
  SaveString(report.reportFile.emplace(), value);
}

void SetTypeSort(Text key, Text value, ReportDefinition& report, const ConfigContext&) {
  report.typeSort = Choose(kTypeSorts, value, L"Invalid keyword value: %ls = %ls\n", key, value);
}

struct ReportKeyword {
  Text keyword;
  void (*apply)(Text key, Text value, ReportDefinition& report, const ConfigContext& context);
  bool exactCase = false;
};

constexpr std::array<ReportKeyword, 20> kReportKeywords = {{
    {L"type", [](Text, Text value, ReportDefinition& report,
                 const ConfigContext& context) { ValidateReportType(value, report, context); }},
    {L"inactive",
     [](Text key, Text value, ReportDefinition& report, const ConfigContext&) {
       if (ValidateYesNo(key, value) != 0) report.active = -1;
     }},
    {L"category",
     [](Text, Text value, ReportDefinition& report, const ConfigContext& context) {
       CheckCategoryList(value, report, context.made.settings.catList);
     }},
    {L"title", [](Text, Text value, ReportDefinition& report,
                  const ConfigContext&) { SaveString(report.title, value); }},
    {L"qvatag", [](Text, Text value, ReportDefinition& report,
                   const ConfigContext&) { SaveString(report.qvaTag.emplace(), value); }},
    {L"totaltag", [](Text, Text value, ReportDefinition& report,
                     const ConfigContext&) { SaveString(report.totalTag.emplace(), value); }},
    {L"output", SetFormat},
    {L"format", SetFormat},
    {L"fields", SetFields},
    {L"filter", AddFilterLine},
    {L"select", AddFilterLine},
    {L"nameform", SetNameForm},
    {L"pathform", SetPathForm},
    {L"showsids", [](Text key, Text value, ReportDefinition& report,
                     const ConfigContext&) { SetYesNoFlag(report, kFlagShowSids, key, value); }},
    {L"totals", [](Text key, Text value, ReportDefinition& report,
                   const ConfigContext&) { SetYesNoFlag(report, kFlagTotals, key, value); }},
    // The one keyword that is not known in capitals. Kept so.
    {L"showlink",
     [](Text key, Text value, ReportDefinition& report, const ConfigContext&) {
       SetYesNoFlag(report, kFlagShowLink, key, value);
     },
     true},
    {L"reportfile", SetReportFile},
    {L"dupcheck", [](Text, Text value, ReportDefinition& report,
                     const ConfigContext&) { report.dupFields |= ValidateDupFields(value); }},
    {L"extlen", [](Text key, Text value, ReportDefinition& report,
                   const ConfigContext&) { report.extLength = SmallNumericParameter(key, value); }},
    {L"typesort", SetTypeSort},
}};

}  // namespace

void ReportLine(std::wstring_view key, std::wstring_view value, ReportDefinition& report,
                const ConfigContext& context) {
  const ReportKeyword* const row = FindKeyword(kReportKeywords, key);
  if (report.kind == nullptr && row != &kReportKeywords.front()) {
    ErrExit(L"The first line of a report section must be type=<report-type>\n");
  }
  if (row == nullptr || (row->exactCase && row->keyword != key)) {
    ErrExit(L"Invalid report definition keyword: %ls\n", key);
  }
  row->apply(key, value, report, context);
}

void ValidateReportType(std::wstring_view value, ReportDefinition& report,
                        const ConfigContext& context) {
  if (report.kind != nullptr) ErrExit(L"Only one 'type=<report-type>' allowed in report section\n");
  report.kind = FindKeyword(context.kinds, value);
  if (report.kind == nullptr) ErrExit(L"Unknown report type: %ls\n", value);
  SaveString(report.typeName, value);
  const ReportKind& kind = *report.kind;
  report.title =
      kind.makeTitle != nullptr ? kind.makeTitle(context.made.settings) : std::wstring(kind.title);
  if (kind.code == kReportSummary || kind.code == kReportSidUse) {
    MoveToListHead(context.made.reportList, report, kind.code == kReportSidUse);
  }
  const uint32_t revision = context.scan.logHdr.revision;
  if (kind.code == kReportSubdirCount && (revision & kRevisionSubdirCounts) == 0) {
    ErrExit(
        L"This dtl does not support subdirectory counts. Please remove subdircount report type "
        L"from "
        L"the config file, or execute another scan with the latest version of trawlix.");
  }
}

void MoveToListHead(std::list<ReportDefinition>& reportList, const ReportDefinition& report,
                    bool behindSummary) {
  auto place = reportList.begin();
  if (behindSummary && place->type() == kReportSummary) ++place;
  // The search goes from the back, where a report that is being read is.
  const auto found = std::find_if(reportList.rbegin(), reportList.rend(),
                                  [&](const ReportDefinition& entry) { return &entry == &report; });
  reportList.splice(place, reportList, std::prev(found.base()));
}

void CheckCategoryList(std::wstring_view value, ReportDefinition& report,
                       const std::list<std::wstring>& catList) {
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
