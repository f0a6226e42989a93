// Completes the modules of this folder: what belongs to logs, checked memory, UTF-8, string
// objects, templates and utilities, and is not called by this program.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string_view>
#include <utility>

#include "base/loganderr.h"
#include "base/memory.h"
#include "base/stringobj.h"
#include "base/utf.h"

namespace tabulon {

// LogEntry for narrow text: a printf(3) format, written as the C library makes it, in the locale's
// encoding. Nothing is written when it cannot be made.
[[gnu::format(printf, 1, 2)]] void LogExcEntry(const char* format, ...);

namespace log_internal {
void PosixError(int errnum, std::wstring_view format, Args args);
}

// LogErr, followed by the line "  (p<number>) <text>" of the system error. `errnum` 0 = errno.
// Under locking it destroys the log lock; later entries are not serialised. On purpose.
template <class... A>
void LogPosixErr(int errnum, WideFormat<A...> format, const A&... args) {
  WithArgs([&](auto packed) { log_internal::PosixError(errnum, format.text, packed); }, args...);
}

// ErrExit with another status.
template <class... A>
[[noreturn]] void ErrExitWithRetCode(int status, WideFormat<A...> format, const A&... args) {
  WithArgs([&](auto packed) { log_internal::Exit(status, format.text, packed); }, args...);
  __builtin_unreachable();
}

// Arena: blocks of 32,768 bytes from which small pieces (at most 32,736 bytes each, in multiples of
// 8) are handed out; all go at once, with the owner of the newest block or with TempFree.
struct ArenaBlock {
  ArenaBlock* previous;  // which goes with this one
  size_t size;           // of the whole block
  char* end;
  char* nextFree;
  alignas(8) char payload[32768 - 32];
};
static_assert(sizeof(ArenaBlock) == 32768);

struct ArenaFreer {
  void operator()(ArenaBlock* block) const {
    while (block != nullptr) std::free(std::exchange(block, block->previous));
  }
};
using Arena = std::unique_ptr<ArenaBlock, ArenaFreer>;

// Exhausted memory ends the run, and so does a larger piece.
void* TempAlloc(size_t size, Arena& arena);
void TempFree(Arena& arena);

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

// A new object that grows by `incrementChars` characters (0: 256). It holds `initial`, for which it
// allocates even when that is empty; null allocates nothing.
std::unique_ptr<StringObject> NewStringObject(const wchar_t* initial, uint32_t incrementChars);
// Releases the text; the object can be filled again.
void FreeStringContents(StringObject& object);
// Releases text and object. A null object is ignored.
void FreeStringObject(std::unique_ptr<StringObject> object);

// Codes `typedLength` units of `typed` into `coded`, which must hold typedLength + 1 units, and
// sets `codedLength` (terminator not counted).
void ConvertTemplate(const wchar_t* typed, size_t typedLength, wchar_t* coded, size_t* codedLength);

// Byte order of detail-file integers: WhichEnd sets `endianType` to 2 ("in host order") and returns
// it; until it has run the three conversions return reversed bytes.
struct ByteOrder {
  uint32_t endianType = 0;
  uint32_t WhichEnd();
  uint16_t logShort(uint16_t value) const;
  uint32_t logInt(uint32_t value) const;
  uint64_t logInt64(uint64_t value) const;
};

// Copies file `from` to the new file `to` and syncs it to disk; fails when `to` exists. Returns 0,
// or -1 with errno set; a copy that could not be finished is removed.
int cp(const char* to, const char* from);

// wcstoul64 for narrow text.
uint64_t strtoul64(const char* text, const char** end);

// Orders paths so that a directory's contents follow the directory at once: '/' sorts before every
// other character. The result is the difference of the first two units that differ, held within
// int, or 1 or -1 for the contents. PathNCmp looks at no more than n characters.
int PathCmp(const wchar_t* a, const wchar_t* b);
int PathNCmp(const wchar_t* a, const wchar_t* b, int n);

// Reads a secret from the terminal, echoing '*' for each character, until a control character or
// until size - 1 characters are there. Returns the ending character (bytes from 128 up end the
// input too, and are negative; EOF when the input ended), 0 when the buffer filled.
int GetSecure(char* buffer, int size);

// The C library's position functions.
int fGetpos(FILE* stream, fpos_t* position);
int fSetpos(FILE* stream, const fpos_t* position);

}  // namespace tabulon
