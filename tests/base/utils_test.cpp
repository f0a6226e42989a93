#include "base/utils.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <clocale>
#include <csignal>

#include "base/fileio.h"
#include "base/rest.h"
#include "tests/support.h"
#include "tests/terminal.h"

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
  WriteFile(dir / "from", std::string(100001, 'x'));
  EXPECT_EQ(cp((dir / "to").c_str(), (dir / "from").c_str()), 0);
  EXPECT_EQ(ReadFile(dir / "to"), ReadFile(dir / "from"));
  EXPECT_EQ(cp((dir / "to").c_str(), (dir / "from").c_str()), -1);
  EXPECT_EQ(errno, EEXIST);
}

TEST(MkdirRecursive, MakesWhatIsMissing) {
  const TempDir dir;
  const auto mode = [&](std::string_view name) {
    struct stat status {};
    return stat((dir / name).c_str(), &status) == 0 ? status.st_mode & 07777 : 0;
  };
  std::filesystem::create_directory(dir / "old");
  const mode_t oldMode = mode("old");
  for (const std::string& path : {dir / "old/a/b/", dir / "old/a/c", std::string(), dir / "/"}) {
    MkdirRecursive(path.c_str());
  }
  EXPECT_EQ(mode("old"), oldMode);
  for (const char* made : {"old/a", "old/a/b", "old/a/c"}) EXPECT_EQ(mode(made), 0700U);
  const std::string deep = dir / "d/";
  MkdirRecursive((deep + std::string(300, 'x')).c_str());  // cut behind 256 bytes
  EXPECT_TRUE(std::filesystem::exists(deep + std::string(256 - deep.size(), 'x')));
}

TEST(Paths, ContentsFollowTheirDirectory) {
  // clang-format off
  const struct { std::wstring a, b; int order; } rows[] = {
      {L"a/b", L"a-b", -1}, {L"a.b", L"a/b", 1}, {L"a", L"a/b", -47}, {L"a/", L"a", 47},
      {L"a", L"a", 0}, {{INT32_MAX}, {-2}, INT32_MAX},
  };
  // clang-format on
  for (const auto& row : rows) {
    EXPECT_EQ(PathCmp(row.a.c_str(), row.b.c_str()), row.order);
  }
  EXPECT_EQ(PathNCmp(L"ab/c", L"ab.c", 2), 0);
}

TEST(ByteOrder, IsReversedWhenItDiffers) {
  ByteOrder order;
  EXPECT_EQ(order.logShort(0x0102), 0x0201U);
  EXPECT_EQ(order.WhichEnd(), 2U);
  EXPECT_EQ(order.logShort(0x0102) + order.logInt(0x01020304) + order.logInt64(1),
            0x01020304U + 0x0102U + 1U);
}

TEST(GetSecure, ShowsStarsAndStopsAtControls) {
  REQUIRE_TERMINAL(Terminal());
  Terminal terminal;
  const UniqueFd input(dup(STDIN_FILENO)), output(dup(STDOUT_FILENO));
  dup2(terminal.line(), STDIN_FILENO);
  dup2(terminal.line(), STDOUT_FILENO);
  EXPECT_EQ(write(terminal.screen(), "ab\x1b", 3), 3);
  char buffer[8];
  EXPECT_EQ(GetSecure(buffer, sizeof buffer), 27);
  EXPECT_STREQ(buffer, "ab");
  dup2(input.get(), STDIN_FILENO);
  dup2(output.get(), STDOUT_FILENO);
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
