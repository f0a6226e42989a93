// Completes the module utils.
#include "base/utilsrest.h"

#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <limits>
#include <string_view>

#include "base/fileio.h"
#include "base/loganderr.h"
#include "base/unitcode.h"
#include "base/utils.h"

namespace tabulon {

namespace {

constexpr uint32_t kHostOrder = 2;
constexpr char kFirstPrintable = ' ';

// Order of the two units at the first difference of two paths; a zero unit is the end of its path.
int ComparePathUnits(wchar_t x, wchar_t y) {
  if (x == L'/' && y != L'\0') return -1;
  if (y == L'/' && x != L'\0') return 1;
  const int64_t difference = int64_t{UnitCode(x)} - UnitCode(y);
  return static_cast<int>(std::clamp<int64_t>(difference, std::numeric_limits<int>::min(),
                                              std::numeric_limits<int>::max()));
}

// Standard input without echo and line editing while this lives; nothing when it is no terminal.
class RawTerminalInput {
 public:
  RawTerminalInput() : isTerminal_(tcgetattr(STDIN_FILENO, &saved_) == 0) {
    if (!isTerminal_) return;
    termios raw = saved_;
    raw.c_lflag &= ~static_cast<tcflag_t>(ECHO | ICANON);
    raw.c_cc[VMIN] = 1;
    raw.c_cc[VTIME] = 0;
    tcsetattr(STDIN_FILENO, TCSANOW, &raw);
  }
  ~RawTerminalInput() {
    if (isTerminal_) tcsetattr(STDIN_FILENO, TCSANOW, &saved_);
  }
  RawTerminalInput(const RawTerminalInput&) = delete;
  RawTerminalInput& operator=(const RawTerminalInput&) = delete;

 private:
  termios saved_{};
  bool isTerminal_;
};

void Echo(std::string_view text) {
  Console().WriteBytes(text);
  Console().Flush();
}

}  // namespace

uint32_t ByteOrder::WhichEnd() {
  return endianType = kHostOrder;
}

uint16_t ByteOrder::logShort(uint16_t value) const {
  return endianType == kHostOrder ? value : __builtin_bswap16(value);
}
uint32_t ByteOrder::logInt(uint32_t value) const {
  return endianType == kHostOrder ? value : __builtin_bswap32(value);
}
uint64_t ByteOrder::logInt64(uint64_t value) const {
  return endianType == kHostOrder ? value : __builtin_bswap64(value);
}

uint64_t strtoul64(const char* text, const char** end) {
  return ParseDecimal(text, end);
}

int PathCmp(const wchar_t* a, const wchar_t* b) {
  while (*a == *b && *a != L'\0') ++a, ++b;
  return *a == *b ? 0 : ComparePathUnits(*a, *b);
}

int PathNCmp(const wchar_t* a, const wchar_t* b, int n) {
  for (; n > 0; --n, ++a, ++b) {
    if (*a != *b) return ComparePathUnits(*a, *b);
    if (*a == L'\0') return 0;
  }
  return 0;
}

int GetSecure(char* buffer, int size) {
  const RawTerminalInput raw;
  int ending = 0;
  int length = 0;
  while (length < size - 1) {
    char c = 0;
    const ssize_t got = ReadFully(STDIN_FILENO, &c, 1);
    if (got != 1) {
      ending = EOF;
      break;
    }
    if (static_cast<signed char>(c) < kFirstPrintable) {
      ending = static_cast<signed char>(c);
      break;
    }
    buffer[length++] = c;
    Echo("*");
  }
  if (size > 0) buffer[length] = '\0';
  Echo("\n");
  return ending;
}

int fGetpos(FILE* stream, fpos_t* position) {
  return fgetpos(stream, position);
}
int fSetpos(FILE* stream, const fpos_t* position) {
  return fsetpos(stream, position);
}

}  // namespace tabulon
