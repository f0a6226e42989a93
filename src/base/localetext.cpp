#include "base/localetext.h"

#include <algorithm>
#include <clocale>
#include <cstdlib>
#include <cstring>

#include "base/textstream.h"
#include "base/unitcode.h"

namespace tabulon {

void ChooseLocale() {
  std::setlocale(LC_ALL, "");
  const char* type = std::setlocale(LC_CTYPE, nullptr);
  const char* all = std::getenv("LC_ALL");
  const bool plain = std::strcmp(type, "C") == 0 || std::strcmp(type, "POSIX") == 0;
  if (plain && (all == nullptr || *all == '\0')) std::setlocale(LC_CTYPE, "C.UTF-8");
}

void AppendLocaleBytes(std::string& out, std::wstring_view text) {
  while (!text.empty()) {
    const auto end = std::find_if_not(text.begin(), text.end(), IsAsciiUnit);
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

CaseFold::CaseFold() {
  for (std::size_t i = 0; i < ascii_.size(); ++i) ascii_[i] = Other(static_cast<wchar_t>(i));
}

const CaseFold& FoldCase() {
  static const CaseFold fold;
  return fold;
}

}  // namespace tabulon
