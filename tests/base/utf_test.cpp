#include "base/rest.h"

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "base/unitcode.h"

namespace tabulon {
namespace {

// The conversions write through raw pointers: exactly as much room as their contract asks for, so
// that the sanitizer sees a unit too many.
std::wstring ToWide(const std::string& bytes) {
  std::vector<wchar_t> room(bytes.size() + 1);
  EXPECT_EQ(UtfToWChr(room.data(), bytes.c_str()), room.data());
  std::wstring appended = L"x";
  AppendUtfToWide(appended, bytes);
  EXPECT_EQ(appended.substr(1), std::wstring(room.data()));
  return room.data();
}

std::string ToUtf(const std::wstring& text) {
  std::vector<char> room(WChrUtfLen(text));
  EXPECT_EQ(WChrToUtf(room.data(), text.c_str()), room.data());
  EXPECT_EQ(std::strlen(room.data()) + 1, room.size());
  return room.data();
}

TEST(Utf, DecodesOneToThreeBytes) {
  // clang-format off
  struct Row { std::string bytes; std::wstring wide; };
  const Row rows[] = {
      {"", L""}, {"abc", L"abc"}, {"\xC3\xA9\xDF\xBF", L"\u00e9\u07ff"},
      {"a\xE2\x82\xACz", {L'a', 0xE20AC, L'z'}},
      // Continuation bytes and four-byte leads are taken as leads of three bytes.
      {"\x80\x81\x82x", {0x80042, L'x'}}, {"\xF0\x9F\x98\x80", {0xF07D8, 0x80000}},
      {"\xFF\xBF\xBFx", {0xFFFFF, L'x'}},
      // Nothing checks what follows a lead.
      {"\xC3zq", {0xFA, L'q'}},
      // A sequence cut by the end of the text reads zeros there.
      {"\xC3", {0xC0}}, {"a\xE2", {L'a', 0xE2000}}, {"a\xE2\x82", {L'a', 0xE2080}},
      {"\xC0\x81", {0x01}}, {"\xE0\xA4\x85", {0xE0905}},
  };
  // clang-format on
  for (const auto& row : rows) {
    EXPECT_EQ(ToWide(row.bytes), row.wide) << row.bytes;
  }
}

TEST(Utf, AppendsUpToAZeroByteBetweenSequences) {
  const std::pair<std::string_view, std::wstring_view> rows[] = {
      {{"ab\0cd", 5}, L"ab"},
      {{"\xC3\0b", 3}, L"\u00c0b"},     // consumed as data
      {{"\xC0\x80z", 3}, {L"\0z", 2}},  // decodes to a unit 0, which is stored
      {{"\xE1\0\0z", 4}, L"\U000e1000z"},
  };
  for (const auto& [bytes, wide] : rows) {
    std::wstring out;
    AppendUtfToWide(out, bytes);
    EXPECT_EQ(out, wide);
  }
}

TEST(Utf, EncodesWithItsOwnBoundaries) {
  // clang-format off
  const std::pair<std::wstring, std::string> rows[] = {
      {L"", ""}, {L"a\x7f\u0080\u03ff", "a\x7f\xC2\x80\xCF\xBF"},
      {L"\u0400\u07ff", "\xE0\x90\x80\xE0\x9F\xBF"}, {{0xE20AC}, "\xE2\x82\xAC"},
      {{0x1F600}, "\xEF\x98\x80"},  // bits above bit 15 are dropped
      {{-23, -1}, "\xE9\xFF"},      // sign-extended bytes give that byte
  };
  // clang-format on
  for (const auto& [wide, bytes] : rows) EXPECT_EQ(ToUtf(wide), bytes);
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

TEST(Utf, EightBitTextIsSignExtendedOrCopied) {
  wchar_t wide[4];
  EXPECT_EQ(std::wstring(Chr2WChr(wide, "a\xE9\x80")), std::wstring({L'a', -23, -128}));
  char narrow[4];
  EXPECT_STREQ(ChrToUtf(narrow, "a\xE9"), "a\xE9");
  EXPECT_STREQ(UtfToChr(narrow, "a\xE2\x82\xAC"), "a\xAC");
  // Lengths go by a table of their own: 0xC0 is one byte long, 0xE0 two.
  EXPECT_EQ(ChrUtfLen("a\xE9") * 10 + UtfChrLen("\xC0\x81\xE0\xA4\x85"), 34U);
}

}  // namespace
}  // namespace tabulon
