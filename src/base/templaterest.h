// Completes the module template: a form of the coding that this program does not call.
#pragma once

#include <cstddef>

namespace tabulon {

// Codes `typedLength` units of `typed` into `coded`, which must hold typedLength + 1 units, and
// sets `codedLength` (terminator not counted).
void ConvertTemplate(const wchar_t* typed, size_t typedLength, wchar_t* coded, size_t* codedLength);

}  // namespace tabulon
