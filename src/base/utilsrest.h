// Completes the module utils: byte order, narrow decimals, path ordering, masked terminal input and
// file positions, which this program does not call.
#pragma once

#include <cstdint>
#include <cstdio>

namespace tabulon {

// Byte order of detail-file integers: WhichEnd sets `endianType` to 2 ("in host order") and returns
// it; until it has run the three conversions return reversed bytes.
struct ByteOrder {
  uint32_t endianType = 0;
  uint32_t WhichEnd();
  uint16_t logShort(uint16_t value) const;
  uint32_t logInt(uint32_t value) const;
  uint64_t logInt64(uint64_t value) const;
};

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
