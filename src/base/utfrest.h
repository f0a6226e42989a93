// Completes the module utf: the conversions that this program does not call.
#pragma once

#include <cstddef>
#include <memory>
#include <string_view>

#include "base/memory.h"
#include "base/utf.h"

namespace tabulon {

// UTF-8 to wide text, up to the terminator; `dst` needs a unit for every byte, and one more.
// Returns dst.
wchar_t* UtfToWChr(wchar_t* dst, const char* src);
// UTF-8 to 8-bit text, up to the terminator (exact for U+0080 to U+00FF, other bits dropped).
// Returns dst.
char* UtfToChr(char* dst, const char* src);
// Wide text to UTF-8; `dst` needs WChrUtfLen(src) bytes. Negative units give their low byte, bits
// above bit 15 are dropped. Returns dst.
char* WChrToUtf(char* dst, const wchar_t* src);
// Copies: 8-bit text counts as UTF-8. Returns dst.
char* ChrToUtf(char* dst, const char* src);
// Bytes that ChrToUtf writes, terminator included.
size_t ChrUtfLen(const char* src);
// Number of sequences in UTF-8 text, terminator excluded; 0xE0 counts as a two-byte lead here.
size_t UtfChrLen(const char* src);
// 8-bit to wide text, each byte sign-extended. Returns dst.
wchar_t* Chr2WChr(wchar_t* dst, const char* src);

// Terminated copies in memory of their own. Exhausted memory ends the run.
std::unique_ptr<wchar_t[], FreeDeleter> SaveWStr(std::wstring_view text);
std::unique_ptr<char[], FreeDeleter> SaveAStr(std::string_view text);

}  // namespace tabulon
