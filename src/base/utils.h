// Small services: byte order, decimal parsers, path ordering, file copy, masked terminal input.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string_view>

#include "base/memory.h"

namespace tabulon {

// Byte order of detail-file integers: WhichEnd sets `endianType` to 2 ("in host order") and returns
// it; until it has run the three conversions return reversed bytes.
extern uint32_t endianType;
uint32_t WhichEnd();
uint16_t logShort(uint16_t value);
uint32_t logInt(uint32_t value);
uint64_t logInt64(uint64_t value);

// Decimal digits to a number: no sign, no blanks, no overflow check (the value wraps). `end`, when
// wanted, is set to the first character that is no digit.
uint64_t strtoul64(const char* text, const char** end);
uint64_t wcstoul64(const wchar_t* text, const wchar_t** end);

// Orders paths so that a directory's contents follow the directory at once: '/' sorts before every
// other character. PathNCmp looks at no more than n characters.
int PathCmp(const wchar_t* a, const wchar_t* b);
int PathNCmp(const wchar_t* a, const wchar_t* b, int n);

// Copies file `from` to the new file `to` and syncs it to disk; fails when `to` exists. Returns 0,
// or -1 with errno set; a copy that could not be finished is removed.
int cp(const char* to, const char* from);

// Creates every missing directory of `path` (its first 256 bytes) with mode 0700. Failures show
// when the directory is used.
void MkdirRecursive(const char* path);

// Reads a secret from the terminal, echoing '*' for each character, until a control character or
// until size - 1 characters are there. Returns the ending character (bytes from 128 up end the
// input too, and are negative; EOF when the input ended), 0 when the buffer filled.
int GetSecure(char* buffer, int size);

// The C library's position functions.
int fGetpos(FILE* stream, fpos_t* position);
int fSetpos(FILE* stream, const fpos_t* position);

// Whether two texts are equal when letter case is ignored (towlower).
bool EqualIgnoringCase(std::wstring_view a, std::wstring_view b);

}  // namespace tabulon
