#include "query/classlist.h"

#include <algorithm>

#include "base/utils.h"

namespace tabulon {

std::list<FileClass> classList;

const FileClass* FindClass(std::wstring_view name) {
  const auto found = std::ranges::find_if(
      classList, [&](const FileClass& each) { return EqualIgnoringCase(each.name, name); });
  return found != classList.end() ? &*found : nullptr;
}

}  // namespace tabulon
