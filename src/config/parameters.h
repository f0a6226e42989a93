// clang-format off
// The [parameters] section: settings that all reports share. Each keyword sets one variable, in the
// order of the lines: a later line replaces an earlier one unless noted.
//
//   keyword                        value            sets
//   fileincrement                  a number         fileIncr
//   maxpathlength                  a number         maxPath
//   maxpathunits                   a name           maxPathUnits
//   timebase                       now, scandate    scanDateRelative ("scandate" undoes nothing)
//   filesizebands                  a comma list     sizeBands
//   [cma]datebands                 a comma list     cdateBands, mdateBands, adateBands
//   dateformat                     any text         dateFmt
//   csvsep                         a character      csvSep (once only; "t" is a tab)
//   csvhdrs                        yes, no          csvHdrs
//   isocodepage                    a name           isoCodepage
//   reportdirectory                a path           reportDir (the first one stays)
//   permissionform                 a name           aclPerms
//   textoutput                     a name           textFormat
//   pathform                       a name           pathFormDflt
//   nameform                       a name           namesDflt
// clang-format on
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "config/settings.h"
#include "detail/scan.h"

namespace tabulon {

// Applies one line of the section. Keywords, and values that are words, in any letter case. A fault
// ends the run with its message.
void ParameterLine(std::wstring_view key, std::wstring_view value, Settings& settings,
                   const Scan& scan);

// A decimal number of at most 4294967294, or with one of the suffixes K M G k m g. Anything else
// ends the run.
uint32_t SmallNumericParameter(std::wstring_view key, std::wstring_view value);

// 1 for "yes", 0 for "no"; anything else ends the run.
int ValidateYesNo(std::wstring_view key, std::wstring_view value);

// Part number of the ISO 8859 code page of that name ("8859-1"); anything else ends the run.
int ValidateCodepage(std::wstring_view value);

// Stores a copy; returns the length.
size_t SaveString(std::wstring& target, std::wstring_view value);

// Sets the limits of the size distribution from a comma list of strictly increasing sizes, suffixes
// allowed, and adds a last band that takes every other size. A fault ends the run.
void GetFilesizeBands(std::wstring_view key, std::wstring_view value, Settings& settings);

// Whether `key` is some letter followed by "datebands", in any letter case.
bool IsDateBandKey(std::wstring_view key);

// Sets the limits of the distribution that the key's first letter (c, m or a) names from a comma
// list of strictly increasing date values. A fault ends the run. REQUIRES: IsDateBandKey(key).
void GetDateBands(std::wstring_view key, std::wstring_view value, Settings& settings,
                  const Scan& scan);

// Stores a date format that CheckDateFormat accepts; any other ends the run.
void SaveDateFormat(std::wstring_view key, std::wstring_view value,
                    std::optional<std::wstring>& target);
// Whether `value` is a usable date format: always true, so letters that wcsftime does not know are
// stored too. Kept so.
bool CheckDateFormat(std::wstring_view value);

}  // namespace tabulon
