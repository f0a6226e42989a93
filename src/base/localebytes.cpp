#include "base/localebytes.h"

#include <algorithm>

#include "base/textstream.h"

namespace tabulon {

void AppendLocaleBytes(std::string& out, std::wstring_view text) {
  const auto isAscii = [](wchar_t unit) { return unit >= 0 && unit < 0x80; };
  while (!text.empty()) {
    const auto end = std::find_if_not(text.begin(), text.end(), isAscii);
    const auto plain = static_cast<size_t>(end - text.begin());
    const size_t at = out.size();
    out.resize(at + plain);
    for (size_t i = 0; i < plain; ++i) out[at + i] = static_cast<char>(text[i]);
    text.remove_prefix(plain);
    if (text.empty()) return;
    char encoded[kLongestLocaleUnit];
    out.append(encoded, EncodeLocaleUnit(text.front(), encoded));
    text.remove_prefix(1);
  }
}

}  // namespace tabulon
