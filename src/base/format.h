// Wide text formatting: the printf conversions that the program's messages and reports use,
// checked against their arguments at compile time and never failing at run time. (The C library's
// wide printf is checked by no compiler, and gives up on text that it cannot convert.)
#pragma once

#include <concepts>
#include <cstdarg>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>

#include "base/unitcode.h"

namespace tabulon {

// One argument of a format. Text is looked at, not copied: it must outlive the call.
struct FormatArg {
  enum class Kind { kInteger, kCharacter, kWide, kNarrow };

  template <class T>
  static constexpr Kind KindOf() {
    using Value = std::remove_cvref_t<T>;
    if constexpr (std::same_as<Value, wchar_t> || std::same_as<Value, char>) {
      return Kind::kCharacter;
    } else if constexpr (std::is_convertible_v<const Value&, std::wstring_view>) {
      return Kind::kWide;
    } else if constexpr (std::is_convertible_v<const Value&, std::string_view>) {
      return Kind::kNarrow;
    } else {
      static_assert(std::is_integral_v<Value>, "only integers, characters and text are printed");
      return Kind::kInteger;
    }
  }

  // Integers are kept in 64 bits, sign-extended when their type is signed; the conversion in the
  // format narrows them as printf would. Characters count as signed on every machine.
  template <class T>
  explicit constexpr FormatArg(const T& value) : kind(KindOf<T>()) {
    if constexpr (KindOf<T>() == Kind::kWide) {
      wide = value;
    } else if constexpr (KindOf<T>() == Kind::kNarrow) {
      narrow = value;
    } else if constexpr (std::same_as<T, char>) {
      integer = static_cast<uint64_t>(static_cast<signed char>(value));
    } else if constexpr (std::same_as<T, wchar_t>) {
      integer = static_cast<uint64_t>(UnitCode(value));
    } else {
      integer = static_cast<uint64_t>(value);
    }
  }

  Kind kind;
  uint64_t integer = 0;
  std::wstring_view wide;
  std::string_view narrow;
};

// One conversion of a format: "%[-][0][width|*][l|ll]letter".
struct Conversion {
  bool leftAligned = false;
  bool zeroPadded = false;
  bool widthFromArgument = false;
  int width = 0;
  int longs = 0;       // number of 'l' modifiers
  wchar_t letter = 0;  // d i u X c s
};

// Parses the conversion that starts after the '%' at text[at - 1]; moves `at` after it.
constexpr Conversion ParseConversion(std::wstring_view text, size_t& at) {
  Conversion c;
  for (; at < text.size() && (text[at] == L'-' || text[at] == L'0'); ++at) {
    (text[at] == L'-' ? c.leftAligned : c.zeroPadded) = true;
  }
  if (at < text.size() && text[at] == L'*') {
    c.widthFromArgument = true;
    ++at;
  }
  for (; at < text.size() && text[at] >= L'0' && text[at] <= L'9'; ++at) {
    c.width = c.width * 10 + static_cast<int>(text[at] - L'0');
  }
  for (; at < text.size() && text[at] == L'l'; ++at) ++c.longs;
  c.letter = at < text.size() ? text[at++] : L'\0';
  return c;
}

// Whether conversion `c` may print an argument of this kind and size.
constexpr bool ConversionFits(const Conversion& c, FormatArg::Kind kind, size_t size) {
  switch (c.letter) {
    case L'd':
    case L'i':
    case L'u':
    case L'X':
      return kind == FormatArg::Kind::kInteger && size <= (c.longs == 2 ? 8U : 4U);
    case L'c':
      return kind == FormatArg::Kind::kCharacter;
    case L's':
      return kind == (c.longs == 1 ? FormatArg::Kind::kWide : FormatArg::Kind::kNarrow);
    default:
      return false;
  }
}

// A format literal that has been checked against the arguments `Args`: a wrong conversion, a
// missing or a surplus argument does not compile.
template <class... Args>
struct CheckedFormat {
  consteval CheckedFormat(const wchar_t* literal) : text(literal) {
    constexpr FormatArg::Kind kinds[] = {FormatArg::KindOf<Args>()..., FormatArg::Kind::kInteger};
    constexpr size_t sizes[] = {sizeof(Args)..., 0};
    size_t next = 0;
    for (size_t at = 0; at < text.size();) {
      if (text[at++] != L'%') continue;
      if (at < text.size() && text[at] == L'%') {
        ++at;
        continue;
      }
      const Conversion c = ParseConversion(text, at);
      if (c.widthFromArgument) {
        if (next >= sizeof...(Args) || kinds[next++] != FormatArg::Kind::kInteger) Mismatch();
      }
      if (next >= sizeof...(Args) || !ConversionFits(c, kinds[next], sizes[next])) Mismatch();
      ++next;
    }
    if (next != sizeof...(Args)) Mismatch();
  }

  std::wstring_view text;

 private:
  static void Mismatch() {}  // not constexpr: reaching it stops the compilation
};

template <class... Args>
using WideFormat = CheckedFormat<std::type_identity_t<Args>...>;

// Appends `format` to `out`, filled with `args`. With `maskControls` the control characters
// (C0, DEL, C1, and those that turn the direction of writing, UAX #9) inside text and character
// arguments become '?'; those of the format stay.
void AppendFormatted(std::wstring& out, std::wstring_view format, std::span<const FormatArg> args,
                     bool maskControls = false);

// Whether a character controls a terminal or turns the direction of writing: C0, DEL, C1, and those
// of UAX #9. `code` is a Unicode code point; a negative unit is none of these.
bool IsHarmful(int32_t code);

// Turns the control characters of text[from..] into '?'.
void MaskControls(std::wstring& text, size_t from);

// What vsnprintf(3) makes of a format and its arguments; empty when it fails.
std::string FormattedBytes(const char* format, std::va_list args);

// Packs arguments for AppendFormatted and calls `use(std::span<const FormatArg>)`.
template <class Use, class... Args>
auto WithArgs(Use&& use, const Args&... args) {
  if constexpr (sizeof...(Args) == 0) {
    return use(std::span<const FormatArg>{});
  } else {
    const FormatArg packed[] = {FormatArg(args)...};
    return use(std::span<const FormatArg>(packed));
  }
}

// The formatted text as a string of its own.
template <class... Args>
std::wstring Formatted(WideFormat<Args...> format, const Args&... args) {
  std::wstring out;
  WithArgs([&](auto packed) { AppendFormatted(out, format.text, packed); }, args...);
  return out;
}

// Appends `narrow`, text in the locale's encoding, as wide text. A byte that the locale cannot
// decode becomes '?'.
void AppendWidened(std::wstring& out, std::string_view narrow);

}  // namespace tabulon
