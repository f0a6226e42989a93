// Completes the module stringobj: string objects on the heap, which this program does not use.
#pragma once

#include <cstdint>
#include <memory>

#include "base/stringobj.h"

namespace tabulon {

// A new object that grows by `incrementChars` characters (0: 256). It holds `initial`, for which it
// allocates even when that is empty; null allocates nothing.
std::unique_ptr<StringObject> NewStringObject(const wchar_t* initial, uint32_t incrementChars);
// Releases the text; the object can be filled again.
void FreeStringContents(StringObject& object);
// Releases text and object. A null object is ignored.
void FreeStringObject(std::unique_ptr<StringObject> object);

}  // namespace tabulon
