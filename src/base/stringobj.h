// A growable wide string that grows by whole increments and never shrinks: it is set and extended
// once a directory without touching the allocator.
#pragma once

#include <cstdint>
#include <memory>
#include <string_view>

namespace tabulon {

inline constexpr int32_t kDefaultIncrement = 1024;  // bytes

struct StringObject {
  int32_t increment = 0;            // growth step, bytes; 0 = kDefaultIncrement
  int32_t size = 0;                 // bytes allocated for the text; 0 = none
  int32_t length = 0;               // characters held, terminator not counted
  std::unique_ptr<wchar_t[]> text;  // zero-terminated when size is not 0

  std::wstring_view view() const { return {text.get(), static_cast<size_t>(length)}; }
};

// Appends or replaces; returns the object's text. Valid until the next change.
const wchar_t* StringObjectCat(StringObject& object, std::wstring_view text);
const wchar_t* StringObjectSet(StringObject& object, std::wstring_view text);

}  // namespace tabulon
