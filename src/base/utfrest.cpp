// Completes the module utf.
#include "base/utfrest.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

namespace tabulon {
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

}  // namespace tabulon
