#include "base/localebytes.h"

#include "base/textstream.h"

namespace tabulon {

void AppendLocaleBytes(std::string& out, std::wstring_view text) {
  for (const wchar_t unit : text) {
    if (unit >= 0 && unit < 0x80) {
      out.push_back(static_cast<char>(unit));
      continue;
    }
    char encoded[kLongestLocaleUnit];
    out.append(encoded, EncodeLocaleUnit(unit, encoded));
  }
}

}  // namespace tabulon
