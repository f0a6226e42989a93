#include "base/utils.h"

#include <fcntl.h>
#include <gtest/gtest.h>

#include <clocale>

#include "base/fileio.h"
#include "base/rest.h"
#include "tests/support.h"

namespace tabulon {
namespace {

TEST(Numbers, AreReadAsFarAsTheyGo) {
  // clang-format off
  const struct { std::string text; uint64_t value; ptrdiff_t length; } rows[] = {
      {"12ab", 12, 2}, {"x", 0, 0}, {"", 0, 0}, {"-1", 0, 0}, {" 1", 0, 0}, {"007", 7, 3},
      {"18446744073709551615", UINT64_MAX, 20}, {"18446744073709551618", 2, 20},
  };
  // clang-format on
  for (const auto& row : rows) {
    const std::wstring wide(row.text.begin(), row.text.end());
    const wchar_t* wideEnd = nullptr;
    EXPECT_EQ(strtoul64(row.text.c_str(), nullptr), row.value);
    EXPECT_EQ(wcstoul64(wide.c_str(), &wideEnd), row.value);
    EXPECT_EQ(wideEnd - wide.c_str(), row.length);
  }
}

TEST(Numbers, MayHaveOneSuffix) {
  // clang-format off
  const struct { std::wstring_view text; int64_t plain, withSuffix; } rows[] = {
      {L"", 0, 0}, {L"007", 7, 7}, {L"4294967295", 4294967295, 4294967295},
      {L"4294967296", -1, 4294967296}, {L"10K", -1, 10240}, {L"10k", -1, 10000},
      {L"3M", -1, 3145728}, {L"3m", -1, 3000000}, {L"2G", -1, 2147483648}, {L"2g", -1, 2000000000},
      {L"K", -1, 0}, {L"10KB", -1, -1}, {L"10T", -1, -1}, {L"1K1", -1, -1}, {L"-1", -1, -1},
      {L"+1", -1, -1}, {L" 1", -1, -1}, {L"1 ", -1, -1}, {L"1.5", -1, -1},
      // A digit of another script, and a zero unit.
      {L"\u0661", -1, -1}, {std::wstring_view(L"12\0", 3), -1, -1},
      // What is too large wraps, products too; all bits set is -1 in any case.
      {L"18446744073709551615", -1, -1}, {L"18446744073709551617", 1, 1},
      {L"9223372036854775808", -1, INT64_MIN}, {L"18014398509481985K", -1, 1024},
  };
  // clang-format on
  for (const auto& row : rows) {
    const std::string shown(row.text.begin(), row.text.end());
    EXPECT_EQ(NumericString(row.text, false), row.plain) << shown;
    EXPECT_EQ(NumericString(row.text, true), row.withSuffix) << shown;
  }
}

TEST(CopyFile, CopiesToNewFilesOnly) {
  const TempDir dir;
  WriteFile(dir / "from", std::string(10001, 'x'));
  for (const int result : {0, -1})
    EXPECT_EQ(cp((dir / "to").c_str(), (dir / "from").c_str()), result);
  EXPECT_EQ(ReadFile(dir / "to"), ReadFile(dir / "from"));
}

TEST(MkdirRecursive, MakesWhatIsMissing) {
  const TempDir dir;
  for (const std::string& path : {dir / "a/b/", dir / "a/c", std::string(), dir / "/"}) {
    MkdirRecursive(path.c_str());
  }
  for (const char* made : {"a", "a/b", "a/c"}) {
    EXPECT_EQ(std::filesystem::status(dir / made).permissions(), std::filesystem::perms::owner_all);
  }
  const std::string deep = dir / "d/";
  MkdirRecursive((deep + std::string(300, 'x')).c_str());  // cut after 256 bytes
  EXPECT_TRUE(std::filesystem::exists(deep + std::string(256 - deep.size(), 'x')));
}

TEST(Paths, ContentsFollowTheirDirectory) {
  EXPECT_EQ(PathCmp(L"a/b", L"a-b"), -1);
  EXPECT_EQ(PathCmp(L"a", L"a/b"), -47);
  EXPECT_EQ(PathNCmp(L"ab/c", L"ab.c", 2), 0);
  EXPECT_EQ(PathNCmp(L"ab/c", L"ab.c", 3), -1);
}

TEST(ByteOrder, IsReversedWhenItDiffers) {
  ByteOrder order;
  EXPECT_EQ(order.logShort(0x0102), 0x0201U);
  EXPECT_EQ(order.WhichEnd(), 2U);
  EXPECT_EQ(order.logInt(0x01020304), 0x01020304U);
}

TEST(GetSecure, ShowsStarsAndStopsAtControls) {
  const TempDir dir;
  WriteFile(dir / "typed", "ab\x1b");
  const UniqueFd typed(open((dir / "typed").c_str(), O_RDONLY));
  dup2(typed.get(), STDIN_FILENO);
  testing::internal::CaptureStdout();
  char buffer[8];
  EXPECT_EQ(GetSecure(buffer, sizeof buffer), 27);
  EXPECT_STREQ(buffer, "ab");
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "**\n");
}

TEST(Arena, StartsABlockForAPieceThatFillsItExactly) {
  Arena arena;
  char* const first = static_cast<char*>(TempAlloc(1, arena));
  EXPECT_EQ(TempAlloc(8, arena), first + 8);
  TempAlloc(sizeof arena->payload - 16, arena);
  EXPECT_NE(arena->previous, nullptr);
}

TEST(StringObject, TakesItsOwnText) {
  const auto object = NewStringObject(L"0123456789", 4);
  EXPECT_STREQ(StringObjectSet(*object, L"ab"), L"ab");
  std::wstring expected = L"ab";
  for (; expected.size() < 128; expected += expected) StringObjectCat(*object, object->view());
  EXPECT_EQ(object->view(), expected);
  EXPECT_STREQ(StringObjectSet(*object, object->view().substr(125)), L"bab");
}

TEST(EqualIgnoringCase, FoldsByTheLocale) {
  EXPECT_TRUE(EqualIgnoringCase(L"All[`1", L"aLL[`1"));
  EXPECT_FALSE(EqualIgnoringCase(L"all", L"all ") || EqualIgnoringCase(L"@[`{", L"`{@["));
  EXPECT_FALSE(EqualIgnoringCase(L"\u00c9", L"\u00e9"));
  ASSERT_NE(std::setlocale(LC_ALL, "C.UTF-8"), nullptr);
  EXPECT_TRUE(EqualIgnoringCase(L"\u00c9", L"\u00e9"));
  EXPECT_TRUE(EqualIgnoringCase(std::wstring(1, -23), std::wstring(1, -23)));
  std::setlocale(LC_ALL, "C");
}

}  // namespace
}  // namespace tabulon
