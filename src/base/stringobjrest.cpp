// Completes the module stringobj.
#include "base/stringobjrest.h"

#include <algorithm>
#include <limits>

namespace tabulon {

std::unique_ptr<StringObject> NewStringObject(const wchar_t* initial, uint32_t incrementChars) {
  constexpr int64_t kLargest = std::numeric_limits<int32_t>::max();
  const int64_t increment =
      incrementChars == 0 ? kDefaultIncrement : int64_t{incrementChars} * sizeof(wchar_t);
  auto object = std::make_unique<StringObject>();
  object->increment = static_cast<int32_t>(std::min(increment, kLargest));
  if (initial != nullptr) StringObjectCat(*object, initial);
  return object;
}

void FreeStringContents(StringObject& object) {
  object.text.reset();
  object.size = 0;
  object.length = 0;
}

void FreeStringObject(std::unique_ptr<StringObject> object) {
  object.reset();
}

}  // namespace tabulon
