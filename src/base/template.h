// Wildcard templates for names and paths: '?' is one character, '*' a run within one path component,
// '~' a run across components, "'" quotes the next wildcard.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace tabulon {

// The units that stand for the wildcards in a coded template.
inline constexpr wchar_t kWildOne = 1;    // '?'
inline constexpr wchar_t kWildName = 2;   // '*'
inline constexpr wchar_t kWildPath = 3;   // '~'

// Codes `typedLength` units of `typed` into `coded`, which must hold typedLength + 1 units, and
// sets `codedLength` (terminator not counted).
void ConvertTemplate(const wchar_t* typed, size_t typedLength, wchar_t* coded, size_t* codedLength);
std::wstring ConvertTemplate(std::wstring_view typed);

// Whether `text` matches the coded template, letter case ignored, with "\" as the separator when
// `backslash` is set and "/" otherwise. The cost is at most text x template.
//  - A literal right behind a wildcard is compared as typed with the lower-cased text, so a capital
//    there matches nothing. Kept so.
bool TemplateMatch(std::wstring_view text, std::wstring_view coded, bool backslash);
// The same for text that is known to be ASCII.
bool TemplateMatch(std::string_view ascii, std::wstring_view coded, bool backslash);

}  // namespace tabulon
