#include "base/utf.h"

#include <cstring>

#include "base/endian.h"
#include "base/memory.h"
#include "base/unitcode.h"

namespace tabulon {
namespace {

constexpr int32_t kLastOneByteUnit = 0x7F;
constexpr int32_t kLastTwoByteUnit = 0x3FF;  // UTF-8 proper: 0x7FF. Kept so; see the header.

const unsigned char* Bytes(const char* text) {
  return reinterpret_cast<const unsigned char*>(text);
}

constexpr size_t kWordBytes = sizeof(uint64_t);

// Whether eight bytes are ASCII without a zero byte.
bool IsPlainWord(uint64_t word) {
  constexpr uint64_t kEveryByte = 0x0101010101010101;
  return ((word | (word - kEveryByte)) & (0x80 * kEveryByte)) == 0;
}

size_t EncodedLength(wchar_t unit) {
  if (UnitCode(unit) <= kLastOneByteUnit) return 1;
  return UnitCode(unit) <= kLastTwoByteUnit ? 2 : 3;
}

// Calls `put(lead, unit)` for each sequence of a zero-terminated text.
template <class Put>
void ForEachSequence(const char* text, Put put) {
  const size_t size = std::strlen(text);
  for (size_t at = 0; at < size;) {
    const unsigned char lead = Bytes(text)[at];
    put(lead, DecodeUtfUnit(Bytes(text), size, at));
  }
}

}  // namespace

void AppendUtfToWide(std::wstring& out, std::string_view bytes) {
  const size_t start = out.size();
  out.resize(start + bytes.size());  // a sequence has a byte at least
  wchar_t* to = out.data() + start;
  for (size_t at = 0; at < bytes.size() && bytes[at] != '\0';) {
    if (at + kWordBytes <= bytes.size() && IsPlainWord(LoadU64(&bytes[at]))) {
      for (size_t i = 0; i < kWordBytes; ++i) *to++ = static_cast<wchar_t>(bytes[at + i]);
      at += kWordBytes;
      continue;
    }
    *to++ = DecodeUtfUnit(Bytes(bytes.data()), bytes.size(), at);
  }
  out.resize(static_cast<size_t>(to - out.data()));
}

wchar_t* UtfToWChr(wchar_t* dst, const char* src) {
  wchar_t* out = dst;
  ForEachSequence(src, [&](unsigned char, wchar_t unit) { *out++ = unit; });
  *out = L'\0';
  return dst;
}

char* UtfToChr(char* dst, const char* src) {
  char* out = dst;
  // The low byte of the decoded unit is made of the same bits in all three forms.
  ForEachSequence(src, [&](unsigned char, wchar_t unit) { *out++ = static_cast<char>(unit); });
  *out = '\0';
  return dst;
}

char* WChrToUtf(char* dst, const wchar_t* src) {
  char* out = dst;
  const auto put = [&](uint32_t byte) { *out++ = static_cast<char>(byte); };
  for (; *src != L'\0'; ++src) {
    const auto unit = static_cast<uint32_t>(*src);
    switch (EncodedLength(*src)) {
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

size_t WChrUtfLen(std::wstring_view src) {
  size_t length = 1;
  for (const wchar_t unit : src) length += EncodedLength(unit);
  return length;
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

std::wstring SaveWStr(std::wstring_view text) {
  return WithMemoryLabel(L"save wstring", [&] { return std::wstring(text); });
}

std::string SaveAStr(std::string_view text) {
  return WithMemoryLabel(L"save astring", [&] { return std::string(text); });
}

}  // namespace tabulon
