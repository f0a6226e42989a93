// Template matching by plain recursion: slow and obviously right, to check the real one against.
#pragma once

#include <cwctype>
#include <string_view>

#include "base/template.h"

namespace tabulon::reference {

inline wchar_t Lower(wchar_t unit) {
  return static_cast<wchar_t>(std::towlower(static_cast<std::wint_t>(unit)));
}

// `t` from `at` on is the separator and a lone '~'.
inline bool IsBareTail(std::wstring_view t, size_t at, wchar_t separator) {
  return t.size() == at + 2 && t[at] == separator && t[at + 1] == kWildPath;
}

inline bool Match(std::wstring_view s, std::wstring_view t, wchar_t separator) {
  size_t i = 0;
  for (; i < t.size() && t[i] != kWildName && t[i] != kWildPath; ++i) {
    if (i == s.size()) return IsBareTail(t, i, separator);
    if (t[i] == kWildOne ? s[i] == separator : Lower(t[i]) != Lower(s[i])) return false;
  }
  if (i == t.size()) return i == s.size();

  bool crosses = false;
  size_t next = i;
  for (; next < t.size() && t[next] >= kWildOne && t[next] <= kWildPath; ++next) {
    if (t[next] == kWildPath) crosses = true;
  }
  if (next == t.size()) return crosses || s.find(separator, i) == s.npos;
  for (size_t p = i; p < s.size(); ++p) {
    if (Lower(s[p]) == t[next] && Match(s.substr(p + 1), t.substr(next + 1), separator))
      return true;
  }
  if (!s.empty() && s.back() == separator && !crosses) return false;
  return IsBareTail(t, next, separator);
}

}  // namespace tabulon::reference
