#include "base/rest.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <utility>

#include "base/unitcode.h"

namespace tabulon {
namespace {

TEST(Utf, DecodesOneToThreeBytesUpToAZero) {
  // clang-format off
  const std::pair<std::string_view, std::wstring> rows[] = {
      {"", L""}, {"abcdefg\xC3\xA9", L"abcdefg\u00e9"}, {"\xC3\xA9\xDF\xBF", L"\u00e9\u07ff"},
      {"a\xE2\x82\xACz", {L'a', 0xE20AC, L'z'}},
      // Continuation bytes and four-byte leads are taken as leads of three bytes.
      {"\x80\x81\x82x", {0x80042, L'x'}}, {"\xF0\x9F\x98\x80", {0xF07D8, 0x80000}},
      {"\xFF\xBF\xBFx", {0xFFFFF, L'x'}},
      // Nothing checks what follows a lead, and a zero there is data.
      {"\xC3zq", {0xFA, L'q'}}, {{"\xC3\0b", 3}, L"\u00c0b"}, {{"\xE1\0\0z", 4}, L"\U000e1000z"},
      // A sequence cut by the end of the text reads zeros there.
      {"\xC3", {0xC0}}, {"a\xE2", {L'a', 0xE2000}}, {"a\xE2\x82", {L'a', 0xE2080}},
      {{"abc\0defgh", 9}, L"abc"}, {{"\xC0\x80z", 3}, {0, L'z'}},  // a unit 0 is stored
  };
  // clang-format on
  for (const auto& [bytes, wide] : rows) {
    std::wstring out = L"x";
    AppendUtfToWide(out, bytes);
    EXPECT_EQ(out, L"x" + wide) << bytes;
  }
}

// Units with the highest bit set come first, also where wchar_t is unsigned.
TEST(CompareUnits, TakesTheHighestBitForASign) {
  const auto low = static_cast<wchar_t>(0x80000000);
  const std::wstring ascending[] = {L"", {low}, {L'a'}, {L'a', low}, {L'a', 0}, L"ab", L"b"};
  for (size_t a = 0; a < std::size(ascending); ++a) {
    for (size_t b = 0; b < std::size(ascending); ++b) {
      EXPECT_EQ(CompareUnits(ascending[a], ascending[b]), a == b ? 0 : a < b ? -1 : 1);
    }
  }
}

TEST(Utf, OtherConversions) {
  wchar_t wide[4];
  EXPECT_EQ(std::wstring(UtfToWChr(wide, "a\xE2\x82")), std::wstring({L'a', 0xE2080}));
  EXPECT_EQ(std::wstring(Chr2WChr(wide, "a\xE9\x80")), std::wstring({L'a', -23, -128}));
  char narrow[12];
  EXPECT_STREQ(ChrToUtf(narrow, "a\xE9"), "a\xE9");
  EXPECT_STREQ(UtfToChr(narrow, "a\xE2\x82\xAC"), "a\xAC");
  // Three bytes from 0x400 on, without the bits above bit 15.
  EXPECT_STREQ(WChrToUtf(narrow, L"\x7f\u03ff\u0400\U0001F600\xFFFFFFE9"),
               "\x7f\xCF\xBF\xE0\x90\x80\xEF\x98\x80\xE9");
  // Lengths go by a table of their own: 0xC0 is one byte long, 0xE0 two.
  EXPECT_EQ(ChrUtfLen("a\xE9") * 10 + UtfChrLen("\xC0\x81\xE0\xA4\x85"), 34U);
}

}  // namespace
}  // namespace tabulon
