#include "base/utf.h"

#include "base/bytes.h"

namespace tabulon {
namespace {

const unsigned char* Bytes(const char* text) {
  return reinterpret_cast<const unsigned char*>(text);
}

// Whether eight bytes are ASCII without a zero byte.
bool IsPlainWord(uint64_t word) {
  return ((word | (word - kEveryByte)) & kHighBits) == 0;
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

size_t WChrUtfLen(std::wstring_view src) {
  size_t length = 1;
  for (const wchar_t unit : src) length += UtfUnitLength(unit);
  return length;
}

}  // namespace tabulon
