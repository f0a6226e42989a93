#include "config/parameters.h"

#include <algorithm>
#include <array>
#include <limits>
#include <utility>

#include "base/loganderr.h"
#include "base/utils.h"
#include "config/keywords.h"
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

void SetTimeBase(std::wstring_view, std::wstring_view value, Settings& settings) {
  // "scandate" does not undo an earlier "now". Kept so.
  if (Choose(kTimeBases, value, L"Invalid timebase value: %ls\n", value))
    settings.scanDateRelative = 0;
}

void SetCsvSeparator(std::wstring_view, std::wstring_view value, Settings& settings) {
  if (value.size() > 1) ErrExit(L"CSV separator must be a single character\n");
  if (settings.csvSep != 0) ErrExit(L"Only one CSV separater can be specified\n");
  if (value.empty()) return;
  settings.csvSep = value[0] == L't' ? L'\t' : value[0];
}

void SetMaxPathUnits(std::wstring_view, std::wstring_view value, Settings& settings) {
  const PathUnit unit = Choose(kPathUnits, value, L"Invalid maximum path units: %ls\n", value);
  settings.maxPathUnits = unit.code;
  SaveString(settings.maxPathUnitName, unit.printedName);
}

void SetCodepage(std::wstring_view, std::wstring_view value, Settings& settings) {
  settings.isoCodepage = ValidateCodepage(value);
  SaveString(settings.isoCodeName, value);
}

void SetReportDirectory(std::wstring_view, std::wstring_view value, Settings& settings) {
  if (!settings.reportDir)
    settings.reportDir.emplace(value.begin(), value.end());  // ASCII, as all of the file
}

using Text = std::wstring_view;

struct ParameterRow {
  Text keyword;
  void (*apply)(Text key, Text value, Settings& settings);
};

constexpr std::array<ParameterRow, 14> kParameters = {{
    {L"fileincrement",
     [](Text key, Text value, Settings& settings) {
       settings.fileIncr = SmallNumericParameter(key, value);
     }},
    {L"timebase", SetTimeBase},
    {L"filesizebands", GetFilesizeBands},
    {L"dateformat", [](Text key, Text value,
                       Settings& settings) { SaveDateFormat(key, value, settings.dateFmt); }},
    {L"csvsep", SetCsvSeparator},
    {L"csvhdrs", [](Text key, Text value,
                    Settings& settings) { settings.csvHdrs = ValidateYesNo(key, value); }},
    {L"maxpathlength",
     [](Text key, Text value, Settings& settings) {
       settings.maxPath = SmallNumericParameter(key, value);
     }},
    {L"maxpathunits", SetMaxPathUnits},
    {L"isocodepage", SetCodepage},
    {L"reportdirectory", SetReportDirectory},
    {L"permissionform",
     [](Text, Text value, Settings& settings) {
       settings.aclPerms =
           Choose(kPermissionForms, value, L"Invalid permission display form: %ls\n", value);
     }},
    {L"textoutput",
     [](Text, Text value, Settings& settings) {
       settings.textFormat = Choose(kTextForms, value, L"Invalid text output option: %ls\n", value);
     }},
    {L"pathform",
     [](Text, Text value, Settings& settings) {
       settings.pathFormDflt = Choose(kPathForms, value, L"Invalid path form option: %ls\n", value);
     }},
    {L"nameform",
     [](Text, Text value, Settings& settings) {
       settings.namesDflt = Choose(kNameForms, value, L"Invalid names form option: %ls\n", value);
     }},
}};

constexpr std::wstring_view kDateBandsSuffix = L"datebands";
constexpr uint64_t kCatchAllSize = std::numeric_limits<int64_t>::max();

using Limits = DistributionLimits;
constexpr Choice<BandLimits Limits::*> kDateTables[] = {
    {L"c", &Limits::cdateBands}, {L"m", &Limits::mdateBands}, {L"a", &Limits::adateBands}};

bool Increases(const BandLimits& limits, uint64_t next) {
  return limits.empty() || limits.back() < next;
}

}  // namespace

void ParameterLine(std::wstring_view key, std::wstring_view value, Settings& settings,
                   const Scan& scan) {
  if (const ParameterRow* row = FindKeyword(kParameters, key)) {
    row->apply(key, value, settings);
  } else if (IsDateBandKey(key)) {
    GetDateBands(key, value, settings, scan);
  } else {
    ErrExit(L"Unknown configuration keyword: %ls\n", key);
  }
}

void GetFilesizeBands(std::wstring_view key, std::wstring_view value, Settings& settings) {
  BandLimits limits;
  ForEachItem(value, [&](std::wstring_view item) {
    const int64_t size = NumericString(item, true);
    if (size == -1) ErrExit(L"Invalid '%ls' band value: %ls\n", key, item);
    const auto limit = static_cast<uint64_t>(size);
    if (!Increases(limits, limit)) {
      ErrExit(L"Size band values must be strictly increasing: %ls=%ls\n", key, value);
    }
    limits.push_back(limit);
  });
  // Beside a larger limit the last band stays empty.
  limits.push_back(std::max(limits.back(), kCatchAllSize));
  settings.sizeBands = std::move(limits);
}

bool IsDateBandKey(std::wstring_view key) {
  return !key.empty() && EqualIgnoringCase(key.substr(1), kDateBandsSuffix);
}

void GetDateBands(std::wstring_view key, std::wstring_view value, Settings& settings,
                  const Scan& scan) {
  const auto table = Choose(kDateTables, key.substr(0, 1),
                            L"Invalid date band specification: %ls=%ls\n", key, value);
  const std::time_t base = DateBase(scan, settings.scanDateRelative);
  BandLimits limits;
  ForEachItem(value, [&](std::wstring_view item) {
    int64_t seconds = 0;
    if (!ConvertDateValue(item, base, seconds)) ErrExit(L"Invalid date band value: %ls\n", item);
    const auto limit = static_cast<uint64_t>(seconds);
    if (!Increases(limits, limit)) {
      ErrExit(L"Date band values must be strictly increasing: %ls=%ls\n", key, value);
    }
    limits.push_back(limit);
  });
  settings.*table = std::move(limits);
}

uint32_t SmallNumericParameter(std::wstring_view key, std::wstring_view value) {
  const int64_t number = NumericString(value, false);
  if (number < 0 || number >= UINT32_MAX)
    ErrExit(L"Invalid numeric argument: %ls=%ls\n", key, value);
  return static_cast<uint32_t>(number);
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
