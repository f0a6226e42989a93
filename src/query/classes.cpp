#include "query/classes.h"

#include <algorithm>

#include "base/utils.h"

namespace tabulon {

const FileClass* Classes::Find(std::wstring_view name) const {
  const auto found = std::ranges::find_if(
      classList, [&](const FileClass& each) { return EqualIgnoringCase(each.name, name); });
  return found != classList.end() ? &*found : nullptr;
}

}  // namespace tabulon
