#include "tools/scanwriter/littlebytes.h"

#include "base/bytes.h"
#include "tools/common/terminaltext.h"

namespace tabulon {
std::string Utf16Bytes(std::string_view text) {
  std::string units;
  while (!text.empty()) {
    const char32_t c = TakeCodePoint(text);
    if (c < 0x10000) {
      Append16(units, static_cast<uint16_t>(c));
    } else {
      Append16(units, static_cast<uint16_t>(0xD800 + ((c - 0x10000) >> 10)));
      Append16(units, static_cast<uint16_t>(0xDC00 + ((c - 0x10000) & 0x3FF)));
    }
  }
  return units;
}

std::string Utf32Text(std::string_view text) {
  std::string units;
  while (!text.empty()) Append32(units, TakeCodePoint(text));
  Append32(units, 0);
  return units;
}

}  // namespace tabulon
