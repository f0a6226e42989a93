// A growable wide string that grows by whole increments and never shrinks: it is set and extended
// once a directory without touching the allocator.
#pragma once

#include <cstdint>
#include <memory>
#include <string_view>

namespace tabulon {

struct StringObject {
  int32_t increment = 0;            // growth step, bytes
  int32_t size = 0;                 // bytes allocated for the text; 0 = none
  int32_t length = 0;               // characters held, terminator not counted
  std::unique_ptr<wchar_t[]> text;  // zero-terminated when size is not 0

  std::wstring_view view() const { return {text.get(), static_cast<size_t>(length)}; }
};

// A new object that grows by `incrementChars` characters (0: 256), holding `initial`.
std::unique_ptr<StringObject> NewStringObject(std::wstring_view initial, uint32_t incrementChars);
// Appends or replaces; returns the object's text. Valid until the next change.
const wchar_t* StringObjectCat(StringObject& object, std::wstring_view text);
const wchar_t* StringObjectSet(StringObject& object, std::wstring_view text);
// Releases the text; the object can be filled again.
void FreeStringContents(StringObject& object);
// Releases text and object. A null object is ignored.
void FreeStringObject(std::unique_ptr<StringObject> object);

}  // namespace tabulon
