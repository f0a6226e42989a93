#include "base/format.h"

#include <gtest/gtest.h>

#include <clocale>

namespace tabulon {
namespace {

TEST(Format, FillsFieldsAsTheCLibraryDoes) {
  const uint32_t big = UINT32_MAX;
  const uint64_t huge = UINT64_MAX;
  // clang-format off
  const std::pair<std::wstring, std::wstring> rows[] = {
      {Formatted(L"100%%|%d|%i|%u", -5, 7, 5U), L"100%|-5|7|5"},
      {Formatted(L"%d|%u|%X", big, big, big), L"-1|4294967295|FFFFFFFF"},
      {Formatted(L"%X|%08X|%X", -1, 0x1a2b, uint8_t{10}), L"FFFFFFFF|00001A2B|A"},
      {Formatted(L"%lld|%llu|%llX", huge, huge, huge), L"-1|18446744073709551615|FFFFFFFFFFFFFFFF"},
      {Formatted(L"%lld", INT64_MIN), L"-9223372036854775808"},
      {Formatted(L"[%5d][%-5d][%05d][%2d]", -42, -42, -42, -4200), L"[  -42][-42  ][-0042][-4200]"},
      {Formatted(L"[%*d][%-*d][%*d]", 4, 7, 4, 7, -4, 7), L"[   7][7   ][7   ]"},
      {Formatted(L"[%6ls][%-6ls][%2ls]", L"a", std::wstring(L"b"), L"c"),
       L"[     a][b     ][ c]"},
      {Formatted(L"[%*ls]%ls", 4, std::wstring_view(L"ab"), L"%d"), L"[  ab]%d"},
      {Formatted(L"%s %s%c%c", "narrow", std::string("text"), L'\u00e9', 'x'),
       L"narrow text\u00e9x"},
  };
  // clang-format on
  for (const auto& [got, expected] : rows) EXPECT_EQ(got, expected);
}

TEST(Format, WidensByTheLocale) {
  // clang-format off
  const struct { const char* locale; std::string_view narrow; std::wstring_view wide; } rows[] = {
      {"C.UTF-8", "caf\xC3\xA9 \xF0\x9F\x98\x80", L"caf\u00e9 \U0001F600"},
      {"C.UTF-8", "a\xFF\xC3 cut\xE2\x82", L"a?? cut??"}, {"C.UTF-8", {"a\0b", 3}, {L"a\0b", 3}},
      {"C", "caf\xC3\xA9", L"caf??"},
  };
  // clang-format on
  for (const auto& row : rows) {
    ASSERT_NE(std::setlocale(LC_ALL, row.locale), nullptr);
    std::wstring out;
    AppendWidened(out, row.narrow);
    EXPECT_EQ(out, row.wide) << row.locale << ' ' << row.narrow;
  }
  std::setlocale(LC_ALL, "C");
}

}  // namespace
}  // namespace tabulon
