#include "config/classes.h"

#include "base/loganderr.h"
#include "base/template.h"
#include "config/keywords.h"
#include "query/classlist.h"

namespace tabulon {
namespace {

ClassPattern MakePattern(std::wstring_view item) {
  if (item.starts_with(L'.')) item.remove_prefix(1);
  const bool wildcard = item.find_first_of(L"*?") != std::wstring_view::npos;
  return {wildcard, wildcard ? ConvertTemplate(item) : std::wstring(item)};
}

}  // namespace

void ClassLine(std::wstring_view name, std::wstring_view value) {
  if (FindClass(name) != nullptr) ErrExit(L"Class '%ls' is defined more than once\n", name);
  FileClass& made = classList.emplace_back(FileClass{std::wstring(name), {}});
  ForEachItem(value, [&](std::wstring_view item) { made.patterns.push_back(MakePattern(item)); });
}

}  // namespace tabulon
