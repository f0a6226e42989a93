// Completes the modules of this folder.
#include "base/rest.h"

#include <fcntl.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <limits>
#include <new>
#include <string_view>
#include <utility>

#include "base/fileio.h"
#include "base/loganderr.h"
#include "base/memory.h"
#include "base/template.h"
#include "base/unitcode.h"
#include "base/utils.h"

namespace tabulon {

void LogExcEntry(const char* format, ...) {
  std::va_list args;
  va_start(args, format);
  const std::string text = FormattedBytes(format, args);
  va_end(args);
  Logs& logs = CurrentLogs();
  const auto lock = log_internal::EntryLock(logs.logLock);
  logs.logFile->WriteBytes(text);
}

void log_internal::PosixError(int errnum, std::wstring_view format, Args args) {
  const int number = errnum != 0 ? errnum : errno;
  Logs& logs = CurrentLogs();
  {
    const auto lock = EntryLock(logs.logLock);
    PutErrorTwice(logs, number, format, args);
  }
  // From here on there is no lock, and entries are not serialised. Kept so; see the header.
  logs.logLock.reset();
}

namespace {

constexpr size_t kArenaStep = 8;
constexpr const wchar_t* kArenaLabel = L"allocate temm mem";

}  // namespace

void* TempAlloc(size_t size, Arena& arena) {
  if (size > sizeof arena->payload) MemoryErrExit(kArenaLabel);
  const size_t raised = (size + kArenaStep - 1) / kArenaStep * kArenaStep;
  // A piece that would fill the block exactly starts a new one. Kept so.
  if (!arena || arena->nextFree + raised >= arena->end) {
    auto* const block = new (GetMem(sizeof(ArenaBlock), kArenaLabel).release()) ArenaBlock;
    block->previous = arena.release();
    block->size = sizeof(ArenaBlock);
    block->end = std::end(block->payload);
    block->nextFree = block->payload;
    arena.reset(block);
  }
  return std::exchange(arena->nextFree, arena->nextFree + raised);
}

void TempFree(Arena& arena) {
  arena.reset();
}

namespace {

const unsigned char* Bytes(const char* text) {
  return reinterpret_cast<const unsigned char*>(text);
}

// Calls `put(unit)` for each sequence of a zero-terminated text.
template <class Put>
void ForEachSequence(const char* text, Put put) {
  const size_t size = std::strlen(text);
  for (size_t at = 0; at < size;) put(DecodeUtfUnit(Bytes(text), size, at));
}

// A copy in zeroed memory, with room for its terminator.
template <class Unit>
std::unique_ptr<Unit[], FreeDeleter> Saved(std::basic_string_view<Unit> text,
                                           const wchar_t* label) {
  auto* const copy = static_cast<Unit*>(GetMem((text.size() + 1) * sizeof(Unit), label).release());
  std::copy(text.begin(), text.end(), copy);
  return std::unique_ptr<Unit[], FreeDeleter>(copy);
}

}  // namespace

wchar_t* UtfToWChr(wchar_t* dst, const char* src) {
  wchar_t* out = dst;
  ForEachSequence(src, [&](wchar_t unit) { *out++ = unit; });
  *out = L'\0';
  return dst;
}

char* UtfToChr(char* dst, const char* src) {
  char* out = dst;
  // The low byte of the decoded unit is made of the same bits in all three forms.
  ForEachSequence(src, [&](wchar_t unit) { *out++ = static_cast<char>(unit); });
  *out = '\0';
  return dst;
}

char* WChrToUtf(char* dst, const wchar_t* src) {
  char* out = dst;
  const auto put = [&](uint32_t byte) { *out++ = static_cast<char>(byte); };
  for (; *src != L'\0'; ++src) {
    const auto unit = static_cast<uint32_t>(*src);
    switch (UtfUnitLength(*src)) {
      case 1:
        put(unit);
        break;
      case 2:
        put(0xC0 | (unit >> 6));
        put(0x80 | (unit & 0x3F));
        break;
      default:
        put(0xE0 | ((unit >> 12) & 0x0F));
        put(0x80 | ((unit >> 6) & 0x3F));
        put(0x80 | (unit & 0x3F));
    }
  }
  *out = '\0';
  return dst;
}

char* ChrToUtf(char* dst, const char* src) {
  return std::strcpy(dst, src);
}

size_t ChrUtfLen(const char* src) {
  return std::strlen(src) + 1;
}

size_t UtfChrLen(const char* src) {
  const size_t size = std::strlen(src);
  size_t count = 0;
  for (size_t at = 0; at < size; ++count) {
    const unsigned char lead = Bytes(src)[at];
    at += lead > 0xE0 ? 3 : lead <= 0xC0 ? 1 : 2;  // 0xE0 counts as a two-byte lead. Kept so.
  }
  return count;
}

wchar_t* Chr2WChr(wchar_t* dst, const char* src) {
  wchar_t* out = dst;
  while (*src != '\0') *out++ = static_cast<signed char>(*src++);
  *out = L'\0';
  return dst;
}

std::unique_ptr<wchar_t[], FreeDeleter> SaveWStr(std::wstring_view text) {
  return Saved(text, L"save wstring");
}

std::unique_ptr<char[], FreeDeleter> SaveAStr(std::string_view text) {
  return Saved(text, L"save astring");
}

std::unique_ptr<StringObject> NewStringObject(const wchar_t* initial, uint32_t incrementChars) {
  constexpr uint64_t kLargest = std::numeric_limits<int32_t>::max();
  const uint64_t increment =
      incrementChars == 0 ? kDefaultIncrement : uint64_t{incrementChars} * sizeof(wchar_t);
  auto object = std::make_unique<StringObject>();
  object->increment = static_cast<int32_t>(std::min(increment, kLargest));
  if (initial != nullptr) StringObjectCat(*object, initial);
  return object;
}

void FreeStringContents(StringObject& object) {
  object.text.reset();
  object.size = 0;
  object.length = 0;
}

void FreeStringObject(std::unique_ptr<StringObject> object) {
  object.reset();
}

void ConvertTemplate(const wchar_t* typed, size_t typedLength, wchar_t* coded,
                     size_t* codedLength) {
  const std::wstring made = ConvertTemplate({typed, typedLength});
  *std::copy(made.begin(), made.end(), coded) = L'\0';
  *codedLength = made.size();
}

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

int cp(const char* to, const char* from) {
  const UniqueFd source(open(from, O_RDONLY | O_CLOEXEC));
  if (!source.valid()) return -1;
  UniqueFd target(open(to, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666));
  if (!target.valid()) return -1;
  const bool copied = CopyBytes(source.get(), target.get()) && fsync(target.get()) == 0;
  if (copied && target.Reset() == 0) return 0;
  const int failure = errno;
  target.Reset();
  unlink(to);
  errno = failure;
  return -1;
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
