#include "base/localetext.h"

#include <clocale>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "base/bytes.h"

namespace tabulon {

void ChooseLocale() {
  std::setlocale(LC_ALL, "");
  const char* type = std::setlocale(LC_CTYPE, nullptr);
  const char* all = std::getenv("LC_ALL");
  const bool plain = std::strcmp(type, "C") == 0 || std::strcmp(type, "POSIX") == 0;
  if (plain && (all == nullptr || *all == '\0')) std::setlocale(LC_CTYPE, "C.UTF-8");
}

void SettleTimeZone() {
  setenv("TZ", ":/etc/localtime", 0);
  tzset();
}

CaseFold::CaseFold() {
  for (std::size_t i = 0; i < ascii_.size(); ++i) {
    ascii_[i] = Other(static_cast<wchar_t>(i));
    isPlain_ &= ascii_[i] == static_cast<wchar_t>(LowerWord(i));
  }
}

const CaseFold& FoldCase() {
  static const CaseFold fold;
  return fold;
}

}  // namespace tabulon
