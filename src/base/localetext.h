// The process locale: how it is chosen, and its lower case; the time zone.
#pragma once

#include <array>
#include <cstddef>
#include <cwctype>
#include <type_traits>

namespace tabulon {

// Sets the user's locale, which names and messages follow. Where that leaves plain ASCII without
// anyone having asked for it (cron, containers), text is UTF-8, so that names survive.
void ChooseLocale();

// Settles the local time zone, before any other thread runs. Where nobody has chosen one it is that
// of the system, and is named: for a zone without a name the C library reads /etc/localtime's state
// anew at every time that is formatted, and keeps its name in new memory each time.
void SettleTimeZone();

// Lower-cases units: ASCII through a table, the rest through towlower(3). The table holds what
// towlower says of the ASCII units, which in a locale like tr_TR is not always ASCII.
class CaseFold {
 public:
  CaseFold();
  wchar_t operator()(wchar_t unit) const {
    const auto code = static_cast<std::make_unsigned_t<wchar_t>>(unit);
    return code < ascii_.size() ? ascii_[code] : Other(unit);
  }
  wchar_t operator()(char ascii) const { return ascii_[static_cast<unsigned char>(ascii)]; }
  // Whether ASCII is folded as LowerWord (base/bytes.h) does it. Not so in a Turkish locale, where
  // 'I' becomes a dotless i.
  bool isPlain() const { return isPlain_; }

 private:
  static wchar_t Other(wchar_t unit) {
    return static_cast<wchar_t>(std::towlower(static_cast<std::wint_t>(unit)));
  }
  std::array<wchar_t, 128> ascii_;
  bool isPlain_ = true;
};

// The fold of the locale that was set when this was first called.
const CaseFold& FoldCase();

}  // namespace tabulon
