#include "base/format.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cwchar>
#include <limits>

namespace tabulon {
namespace {

struct CodeRange {
  int32_t first, last;
};
// Characters that control a terminal or change the reading order.
// clang-format off
constexpr CodeRange kHarmful[] = {
    {0x00, 0x1F}, {0x7F, 0x9F},  // C0, DEL, C1
    {0x061C, 0x061C},            // Arabic letter mark
    {0x200E, 0x200F},            // left-to-right and right-to-left mark
    {0x2028, 0x202E},            // line and paragraph separator, embeddings and overrides
    {0x2066, 0x2069},            // isolates
};
// clang-format on

void AppendDigits(std::wstring& digits, uint64_t value, unsigned base) {
  std::array<wchar_t, 20> reversed{};  // 2^64 has 20 decimal digits
  size_t n = 0;
  do {
    reversed[n++] = L"0123456789ABCDEF"[value % base];
    value /= base;
  } while (value != 0);
  while (n > 0) digits.push_back(reversed[--n]);
}

void AppendInteger(std::wstring& out, const Conversion& c, uint64_t bits) {
  if (c.letter == L'X' || c.letter == L'u') {
    AppendDigits(out, c.longs == 2 ? bits : static_cast<uint32_t>(bits),
                 c.letter == L'X' ? 16 : 10);
    return;
  }
  const int64_t value =
      c.longs == 2 ? static_cast<int64_t>(bits) : static_cast<int32_t>(static_cast<uint32_t>(bits));
  if (value < 0) out.push_back(L'-');
  AppendDigits(out, value < 0 ? 0 - static_cast<uint64_t>(value) : static_cast<uint64_t>(value),
               10);
}

void AppendText(std::wstring& out, const FormatArg& arg) {
  switch (arg.kind) {
    case FormatArg::Kind::kWide:
      out.append(arg.wide);
      break;
    case FormatArg::Kind::kNarrow:
      AppendWidened(out, arg.narrow);
      break;
    default:
      out.push_back(static_cast<wchar_t>(arg.integer));
  }
}

// The width of a '*': a negative one aligns to the left.
void SetWidth(Conversion& c, uint64_t argument) {
  const auto width = static_cast<int32_t>(static_cast<uint32_t>(argument));
  c.leftAligned |= width < 0;
  c.width = width < 0 ? -std::max(width, -std::numeric_limits<int32_t>::max()) : width;
}

// Brings out[start..] to the conversion's width.
void Pad(std::wstring& out, size_t start, const Conversion& c, bool numeric) {
  const auto width = static_cast<size_t>(c.width);
  const size_t length = out.size() - start;
  if (length >= width) return;
  const size_t missing = width - length;
  if (c.leftAligned) {
    out.append(missing, L' ');
  } else if (c.zeroPadded && numeric) {
    out.insert(start + (out[start] == L'-' ? 1 : 0), missing, L'0');
  } else {
    out.insert(start, missing, L' ');
  }
}

}  // namespace

bool IsHarmful(int32_t code) {
  return std::ranges::any_of(kHarmful, [code](const CodeRange& range) {
    return code >= range.first && code <= range.last;
  });
}

std::string FormattedBytes(const char* format, std::va_list args) {
  std::va_list again;
  va_copy(again, args);
  const int length = std::vsnprintf(nullptr, 0, format, args);
  std::string text(static_cast<size_t>(length < 0 ? 0 : length) + 1, '\0');
  if (length > 0) std::vsnprintf(text.data(), text.size(), format, again);
  va_end(again);
  text.pop_back();
  return text;
}

void AppendFormatted(std::wstring& out, std::wstring_view format, std::span<const FormatArg> args,
                     bool maskControls) {
  size_t next = 0;
  for (size_t at = 0; at < format.size();) {
    const size_t percent = format.find(L'%', at);
    out.append(format.substr(at, percent - at));
    if (percent == std::wstring_view::npos) return;
    at = percent + 1;
    if (at < format.size() && format[at] == L'%') {
      out.push_back(L'%');
      ++at;
      continue;
    }
    Conversion c = ParseConversion(format, at);
    if (c.widthFromArgument) SetWidth(c, args[next++].integer);
    const FormatArg& arg = args[next++];
    const size_t start = out.size();
    const bool numeric = arg.kind == FormatArg::Kind::kInteger;
    if (numeric) {
      AppendInteger(out, c, arg.integer);
    } else {
      AppendText(out, arg);
      if (maskControls) MaskControls(out, start);
    }
    Pad(out, start, c, numeric);
  }
}

void MaskControls(std::wstring& text, size_t from) {
  for (size_t i = from; i < text.size(); ++i) {
    if (IsHarmful(UnitCode(text[i]))) text[i] = L'?';
  }
}

void AppendWidened(std::wstring& out, std::string_view narrow) {
  std::mbstate_t state{};
  while (!narrow.empty()) {
    wchar_t unit = 0;
    const size_t used = std::mbrtowc(&unit, narrow.data(), narrow.size(), &state);
    if (used == static_cast<size_t>(-1) || used == static_cast<size_t>(-2)) {
      out.push_back(L'?');
      narrow.remove_prefix(1);
      state = std::mbstate_t{};
    } else {
      out.push_back(unit);
      narrow.remove_prefix(used == 0 ? 1 : used);
    }
  }
}

}  // namespace tabulon
