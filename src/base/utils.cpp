#include "base/utils.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <string>

#include "base/fileio.h"
#include "base/foldcase.h"
#include "base/loganderr.h"
#include "base/uniquefd.h"
#include "base/unitcode.h"

namespace tabulon {

uint32_t endianType = 0;

namespace {

constexpr uint32_t kHostOrder = 2;
constexpr size_t kCopyBuffer = 4096;
constexpr mode_t kCopyMode = 0666;       // before the process mask
constexpr mode_t kDirectoryMode = 0700;  // before the process mask
constexpr size_t kMkdirPathBytes = 256;
constexpr char kFirstPrintable = ' ';

template <class Char>
uint64_t ParseDecimal(const Char* text, const Char** end) {
  uint64_t value = 0;
  for (; *text >= '0' && *text <= '9'; ++text) {
    value = value * 10 + static_cast<uint64_t>(*text - '0');
  }
  if (end != nullptr) *end = text;
  return value;
}

// Order of the two units at the first difference of two paths; a zero unit is the end of its path.
int ComparePathUnits(wchar_t x, wchar_t y) {
  if (x == L'/' && y != L'\0') return -1;
  if (y == L'/' && x != L'\0') return 1;
  return UnitCode(x) < UnitCode(y) ? -1 : 1;
}

bool CopyBytes(int from, int to) {
  std::array<char, kCopyBuffer> buffer;
  for (;;) {
    const ssize_t got = ReadFully(from, buffer.data(), buffer.size());
    if (got <= 0) return got == 0;
    if (!WriteFully(to, buffer.data(), static_cast<size_t>(got))) return false;
  }
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

uint32_t WhichEnd() {
  return endianType = kHostOrder;
}

uint16_t logShort(uint16_t value) {
  return endianType == kHostOrder ? value : __builtin_bswap16(value);
}
uint32_t logInt(uint32_t value) {
  return endianType == kHostOrder ? value : __builtin_bswap32(value);
}
uint64_t logInt64(uint64_t value) {
  return endianType == kHostOrder ? value : __builtin_bswap64(value);
}

uint64_t strtoul64(const char* text, const char** end) {
  return ParseDecimal(text, end);
}
uint64_t wcstoul64(const wchar_t* text, const wchar_t** end) {
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

int cp(const char* to, const char* from) {
  const UniqueFd source(open(from, O_RDONLY | O_CLOEXEC));
  if (!source.valid()) return -1;
  UniqueFd target(open(to, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, kCopyMode));
  if (!target.valid()) return -1;
  const bool copied = CopyBytes(source.get(), target.get()) && fsync(target.get()) == 0;
  if (copied && target.Reset() == 0) return 0;
  const int failure = errno;
  target.Reset();
  unlink(to);
  errno = failure;
  return -1;
}

void MkdirRecursive(const char* path) {
  std::string whole = std::string(path).substr(0, kMkdirPathBytes);
  if (!whole.empty() && whole.back() == '/') whole.pop_back();
  for (size_t slash = whole.find('/', 1); slash != std::string::npos;
       slash = whole.find('/', slash + 1)) {
    mkdir(whole.substr(0, slash).c_str(), kDirectoryMode);
  }
  mkdir(whole.c_str(), kDirectoryMode);
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

bool EqualIgnoringCase(std::wstring_view a, std::wstring_view b) {
  const CaseFold& fold = FoldCase();
  return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                    [&](wchar_t x, wchar_t y) { return x == y || fold(x) == fold(y); });
}

}  // namespace tabulon
