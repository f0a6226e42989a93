// The band lines of the [parameters] section: limits of the summary's size and date distributions.
#pragma once

#include <string_view>

#include "detail/scan.h"

namespace tabulon {

// Sets sizeBands from a comma list of strictly increasing sizes, suffixes allowed, and adds a last
// band that takes every other size. A fault ends the run.
void GetFilesizeBands(std::wstring_view key, std::wstring_view value);

// Whether `key` is some letter followed by "datebands", in any letter case.
bool IsDateBandKey(std::wstring_view key);

// Sets the table that the key's first letter (c, m or a) names from a comma list of strictly
// increasing date values. A fault ends the run.
// REQUIRES: IsDateBandKey(key).
void GetDateBands(std::wstring_view key, std::wstring_view value, const Scan& scan);

}  // namespace tabulon
