#include "base/stringobj.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "base/loganderr.h"

namespace tabulon {
namespace {

constexpr int64_t kUnitBytes = sizeof(wchar_t);
constexpr int64_t kLargestSize = std::numeric_limits<int32_t>::max();

// The size of the buffer, raised in whole increments until it holds `needed` bytes.
int32_t GrownSize(const StringObject& object, int64_t needed) {
  const int64_t step = object.increment > 0 ? object.increment : kDefaultIncrement;
  const int64_t size = object.size + (needed - object.size + step - 1) / step * step;
  if (size > kLargestSize) ErrExit(L"Insufficient memory\n");
  return static_cast<int32_t>(size);
}

std::unique_ptr<wchar_t[]> NewBuffer(int32_t bytes) {
  const auto units = static_cast<size_t>((bytes + kUnitBytes - 1) / kUnitBytes);
  return std::make_unique_for_overwrite<wchar_t[]>(units);
}

}  // namespace

const wchar_t* StringObjectCat(StringObject& object, std::wstring_view text) {
  const size_t length = static_cast<size_t>(object.length) + text.size();
  const int64_t needed = static_cast<int64_t>(length + 1) * kUnitBytes;
  std::unique_ptr<wchar_t[]> old;  // kept to the end: `text` may be a part of it
  if (needed > object.size) {
    object.size = GrownSize(object, needed);
    old = std::exchange(object.text, NewBuffer(object.size));
    std::copy_n(old.get(), object.length, object.text.get());
  }
  std::copy(text.begin(), text.end(), object.text.get() + object.length);
  object.text[length] = L'\0';
  object.length = static_cast<int32_t>(length);
  return object.text.get();
}

const wchar_t* StringObjectSet(StringObject& object, std::wstring_view text) {
  object.length = 0;
  return StringObjectCat(object, text);
}

}  // namespace tabulon
