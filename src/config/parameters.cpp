#include "config/parameters.h"

#include <array>

#include "base/loganderr.h"
#include "base/numericstring.h"
#include "config/bandparameters.h"
#include "config/keywords.h"
#include "config/report.h"
#include "config/settings.h"
#include "detail/recordclass.h"
#include "detail/scandetail.h"
#include "query/datevalue.h"

namespace tabulon {
namespace {

struct PathUnit {
  int code;
  std::wstring_view printedName;
};
constexpr Choice<PathUnit> kPathUnits[] = {
    {L"chars", {kPathCharacters, L"characters"}},
    {L"bytes", {kPathWideBytes, L"bytes"}},
    {L"utfbytes", {kPathUtfBytes, L"UTF-8 encoded bytes"}},
};

// There is no part 12.
constexpr Choice<int> kCodepages[] = {
    {L"8859-1", 1},   {L"8859-2", 2},   {L"8859-3", 3},   {L"8859-4", 4},   {L"8859-5", 5},
    {L"8859-6", 6},   {L"8859-7", 7},   {L"8859-8", 8},   {L"8859-9", 9},   {L"8859-10", 10},
    {L"8859-11", 11}, {L"8859-13", 13}, {L"8859-14", 14}, {L"8859-15", 15}, {L"8859-16", 16},
};

constexpr Choice<bool> kTimeBases[] = {{L"now", true}, {L"scandate", false}};
constexpr Choice<int> kYesNo[] = {{L"no", 0}, {L"yes", 1}};
constexpr Choice<int> kPermissionForms[] = {{L"simple", 1}, {L"standard", 2}, {L"hex", 3}};
constexpr Choice<int> kTextForms[] = {{L"standard", kTextStandard}, {L"unicode", kTextUnicode}};
constexpr Choice<uint32_t> kPathForms[] = {{L"relative", kFlagRelative},
                                           {L"absolute", kFlagAbsolute}};
constexpr Choice<uint32_t> kNameForms[] = {{L"fileindir", kFlagFileInDir},
                                           {L"fullpath", kFlagFullPath}};

void SetTimeBase(std::wstring_view, std::wstring_view value) {
  // "scandate" does not undo an earlier "now". Kept so.
  if (Choose(kTimeBases, value, L"Invalid timebase value: %ls\n", value)) scanDateRelative = 0;
}

void SetCsvSeparator(std::wstring_view, std::wstring_view value) {
  if (value.size() > 1) ErrExit(L"CSV separator must be a single character\n");
  if (csvSep != 0) ErrExit(L"Only one CSV separater can be specified\n");
  if (value.empty()) return;
  csvSep = value[0] == L't' ? L'\t' : value[0];
}

void SetMaxPathUnits(std::wstring_view, std::wstring_view value) {
  const PathUnit unit = Choose(kPathUnits, value, L"Invalid maximum path units: %ls\n", value);
  maxPathUnits = unit.code;
  SaveString(maxPathUnitName, unit.printedName);
}

void SetCodepage(std::wstring_view, std::wstring_view value) {
  isoCodepage = ValidateCodepage(value);
  SaveString(isoCodeName, value);
}

void SetReportDirectory(std::wstring_view, std::wstring_view value) {
  if (!reportDir) reportDir.emplace(value.begin(), value.end());  // ASCII, as all of the file
}

using Text = std::wstring_view;

struct ParameterRow {
  Text keyword;
  void (*apply)(Text key, Text value);
};

constexpr std::array<ParameterRow, 14> kParameters = {{
    {L"fileincrement", [](Text key, Text value) { fileIncr = SmallNumericParameter(key, value); }},
    {L"timebase", SetTimeBase},
    {L"filesizebands", GetFilesizeBands},
    {L"dateformat", [](Text key, Text value) { SaveDateFormat(key, value, dateFmt); }},
    {L"csvsep", SetCsvSeparator},
    {L"csvhdrs", [](Text key, Text value) { csvHdrs = ValidateYesNo(key, value); }},
    {L"maxpathlength", [](Text key, Text value) { maxPath = SmallNumericParameter(key, value); }},
    {L"maxpathunits", SetMaxPathUnits},
    {L"isocodepage", SetCodepage},
    {L"reportdirectory", SetReportDirectory},
    {L"permissionform",
     [](Text, Text value) {
       aclPerms = Choose(kPermissionForms, value, L"Invalid permission display form: %ls\n", value);
     }},
    {L"textoutput",
     [](Text, Text value) {
       textFormat = Choose(kTextForms, value, L"Invalid text output option: %ls\n", value);
     }},
    {L"pathform",
     [](Text, Text value) {
       pathFormDflt = Choose(kPathForms, value, L"Invalid path form option: %ls\n", value);
     }},
    {L"nameform",
     [](Text, Text value) {
       namesDflt = Choose(kNameForms, value, L"Invalid names form option: %ls\n", value);
     }},
}};

}  // namespace

void ParameterLine(std::wstring_view key, std::wstring_view value, const Scan& scan) {
  if (const ParameterRow* row = FindKeyword(kParameters, key)) {
    row->apply(key, value);
  } else if (IsDateBandKey(key)) {
    GetDateBands(key, value, scan);
  } else {
    ErrExit(L"Unknown configuration keyword: %ls\n", key);
  }
}

uint32_t SmallNumericParameter(std::wstring_view key, std::wstring_view value) {
  const int64_t number = NumericString(value, false);
  if (number < 0 || number >= UINT32_MAX)
    ErrExit(L"Invalid numeric argument: %ls=%ls\n", key, value);
  return static_cast<uint32_t>(number);
}

uint64_t LargeNumericParameter(std::wstring_view key, std::wstring_view value) {
  const int64_t number = NumericString(value, true);
  if (number == -1) ErrExit(L"Invalid numeric argument: %ls=%ls\n", key, value);
  return static_cast<uint64_t>(number);
}

int ValidateYesNo(std::wstring_view key, std::wstring_view value) {
  return Choose(kYesNo, value, L"Invalid keyword value: %ls = %ls\n", key, value);
}

int ValidateCodepage(std::wstring_view value) {
  return Choose(kCodepages, value, L"Invalid UTF check ISO code page: %ls\n", value);
}

size_t SaveString(std::wstring& target, std::wstring_view value) {
  target = value;
  return target.size();
}

void SaveDateFormat(std::wstring_view key, std::wstring_view value,
                    std::optional<std::wstring>& target) {
  if (!CheckDateFormat(value)) ErrExit(L"Invalid date format string: %ls=%ls\n", key, value);
  SaveString(target.emplace(), value);
}

bool CheckDateFormat(std::wstring_view) {
  return true;
}

}  // namespace tabulon
