#include "base/utils.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <pty.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <algorithm>
#include <cerrno>
#include <clocale>
#include <csignal>
#include <functional>

#include "base/uniquefd.h"
#include "tests/support.h"

namespace tabulon {
namespace {

TEST(ByteOrder, IsReversedUntilAsked) {
  const auto saved = std::exchange(endianType, 0);
  EXPECT_EQ(logShort(0x0102), 0x0201);
  EXPECT_EQ(logInt(0x01020304), 0x04030201U);
  EXPECT_EQ(logInt64(0x0102030405060708), 0x0807060504030201U);
  EXPECT_EQ(WhichEnd(), 2U);
  EXPECT_EQ(logShort(0x0102), 0x0102);
  EXPECT_EQ(logInt(0x01020304), 0x01020304U);
  EXPECT_EQ(logInt64(0x0102030405060708), 0x0102030405060708U);
  endianType = saved;
}

TEST(DecimalParsers, StopAtTheFirstOtherCharacter) {
  const struct {
    std::string text;
    uint64_t value;
    size_t length;
  } rows[] = {
      {"12ab", 12, 2},
      {"x", 0, 0},
      {"", 0, 0},
      {"-1", 0, 0},
      {" 1", 0, 0},
      {"007", 7, 3},
      {"0x10", 0, 1},
      {"18446744073709551615", UINT64_MAX, 20},
      {"18446744073709551618", 2, 20},
  };
  for (const auto& row : rows) {
    const std::wstring wide(row.text.begin(), row.text.end());
    const char* end = nullptr;
    const wchar_t* wideEnd = nullptr;
    EXPECT_EQ(strtoul64(row.text.c_str(), &end), row.value);
    EXPECT_EQ(wcstoul64(wide.c_str(), &wideEnd), row.value);
    EXPECT_EQ(end, row.text.c_str() + row.length);
    EXPECT_EQ(wideEnd, wide.c_str() + row.length);
    EXPECT_EQ(strtoul64(row.text.c_str(), nullptr), row.value);
  }
}

TEST(PathOrder, KeepsContentsBehindTheirDirectory) {
  const std::vector<std::wstring> inOrder = {L"",      L"/a",    L"a",   L"a/",  L"a/b", L"a/b/c",
                                             L"a/b-c", L"a\x01", L"a b", L"a-b", L"a.b", L"ab"};
  const auto sign = [](int value) { return (value > 0) - (value < 0); };
  for (size_t i = 0; i < inOrder.size(); ++i) {
    for (size_t j = 0; j < inOrder.size(); ++j) {
      const int expected = (i > j) - (i < j);
      EXPECT_EQ(sign(PathCmp(inOrder[i].c_str(), inOrder[j].c_str())), expected) << i << ' ' << j;
      EXPECT_EQ(sign(PathNCmp(inOrder[i].c_str(), inOrder[j].c_str(), 100)), expected);
    }
  }
  EXPECT_LT(PathCmp(L"a", L"\x7fffffff"), 0);
  EXPECT_EQ(PathNCmp(L"ab/c", L"ab.c", 2), 0);
  EXPECT_LT(PathNCmp(L"ab/c", L"ab.c", 3), 0);
  EXPECT_EQ(PathNCmp(L"a", L"b", 0), 0);
  EXPECT_EQ(PathNCmp(L"a", L"b", -1), 0);
}

TEST(CopyFile, CopiesToNewFilesOnly) {
  const TempDir dir;
  const std::string from = dir / "from";
  const std::string to = dir / "to";
  for (const size_t size : {0U, 1U, 4096U, 4097U, 100000U}) {
    std::string bytes(size, '\0');
    for (size_t i = 0; i < size; ++i) bytes[i] = static_cast<char>(i * 7);
    WriteFile(from, bytes);
    ASSERT_EQ(cp(to.c_str(), from.c_str()), 0);
    EXPECT_EQ(ReadFile(to), bytes);
    EXPECT_EQ(cp(to.c_str(), from.c_str()), -1);
    EXPECT_EQ(errno, EEXIST);
    EXPECT_EQ(ReadFile(to), bytes);
    std::filesystem::remove(to);
  }
  EXPECT_EQ(cp(to.c_str(), (dir / "missing").c_str()), -1);
  EXPECT_EQ(errno, ENOENT);
  EXPECT_EQ(cp(to.c_str(), dir.path().c_str()), -1);  // cannot be read
  EXPECT_EQ(errno, EISDIR);
  const auto fillDisk = [&] {
    std::signal(SIGXFSZ, SIG_IGN);
    const rlimit limit{50000, 50000};
    setrlimit(RLIMIT_FSIZE, &limit);
    std::exit(cp(to.c_str(), from.c_str()) == -1 ? errno : 0);
  };
  EXPECT_EXIT(fillDisk(), testing::ExitedWithCode(EFBIG), "");
  EXPECT_FALSE(std::filesystem::exists(to));
}

TEST(MkdirRecursive, MakesWhatIsMissing) {
  const TempDir dir;
  const auto mode = [&](std::string_view name) {
    struct stat status {};
    return stat((dir / name).c_str(), &status) == 0 ? status.st_mode & 07777 : 0;
  };
  std::filesystem::create_directory(dir / "old");
  const mode_t oldMode = mode("old");
  MkdirRecursive((dir / "old/a/b/").c_str());
  MkdirRecursive((dir / "old/a/c").c_str());
  EXPECT_EQ(mode("old"), oldMode);
  for (const char* made : {"old/a", "old/a/b", "old/a/c"}) EXPECT_EQ(mode(made), 0700U);
  MkdirRecursive("");
  MkdirRecursive("/");
  const std::string deep = dir / "d/";
  MkdirRecursive((deep + std::string(300, 'x')).c_str());  // cut behind 256 bytes
  EXPECT_TRUE(std::filesystem::exists(deep + std::string(256 - deep.size(), 'x')));
}

// Types `input` at a terminal where GetSecure(buffer, size) runs: its result, its text and what the
// screen shows.
struct Secret {
  int ending = 0;
  std::string text;
  std::string screen;
};

Secret TypeSecret(std::string_view input, int size) {
  int ends[2];
  int results[2];
  EXPECT_EQ(openpty(&ends[0], &ends[1], nullptr, nullptr, nullptr), 0);
  EXPECT_EQ(pipe(results), 0);
  const pid_t child = fork();
  if (child == 0) {
    dup2(ends[1], STDIN_FILENO);
    dup2(ends[1], STDOUT_FILENO);
    char buffer[16] = "untouched";
    termios before{}, after{};
    tcgetattr(STDIN_FILENO, &before);
    const int ending = GetSecure(buffer, size);
    tcgetattr(STDIN_FILENO, &after);
    const bool restored = before.c_lflag == after.c_lflag;
    write(results[1], &ending, sizeof ending);
    write(results[1], restored ? buffer : "settings lost", sizeof buffer);
    _exit(0);
  }
  const UniqueFd terminal(ends[0]);
  close(results[1]);  // so that a child that died shows as an end, not as a wait
  // The child has to leave line editing before anything is typed.
  termios state{};
  for (int tries = 0; tries < 10000; ++tries) {
    tcgetattr(ends[1], &state);
    if ((state.c_lflag & ICANON) == 0) break;
    usleep(1000);
  }
  EXPECT_EQ(write(terminal.get(), input.data(), input.size()), static_cast<ssize_t>(input.size()));
  Secret secret;
  char bytes[64] = {};
  EXPECT_EQ(read(results[0], &secret.ending, sizeof secret.ending), 4);
  EXPECT_EQ(read(results[0], bytes, 16), 16);
  secret.text = bytes;
  waitpid(child, nullptr, 0);
  const ssize_t shown = read(terminal.get(), bytes, sizeof bytes);
  secret.screen.assign(bytes, static_cast<size_t>(shown));
  for (const int fd : {ends[1], results[0]}) close(fd);
  return secret;
}

TEST(GetSecure, ShowsStarsAndStopsAtControls) {
  const struct {
    std::string_view typed;
    int size;
    int ending;
    std::string_view text;
    std::string_view screen;
  } rows[] = {
      {"secret\nrest", 16, '\n', "secret", "******\r\n"},
      {"a\x1b", 16, 27, "a", "*\r\n"},
      {"ab\xC3\xA9", 16, -61, "ab", "**\r\n"},
      {"abcdef", 4, 0, "abc", "***\r\n"},
      {"\x7f\n", 16, '\n', "\x7f", "*\r\n"},
  };
  for (const auto& row : rows) {
    const Secret secret = TypeSecret(row.typed, row.size);
    EXPECT_EQ(secret.ending, row.ending);
    EXPECT_EQ(secret.text, row.text);
    EXPECT_EQ(secret.screen, row.screen);
  }
}

TEST(FilePositions, AreTheCLibrarys) {
  const TempDir dir;
  WriteFile(dir / "f", "0123456789");
  FILE* const stream = std::fopen((dir / "f").c_str(), "rb");
  ASSERT_NE(stream, nullptr);
  fpos_t position;
  std::fseek(stream, 4, SEEK_SET);
  EXPECT_EQ(fGetpos(stream, &position), 0);
  std::fseek(stream, 9, SEEK_SET);
  EXPECT_EQ(fSetpos(stream, &position), 0);
  EXPECT_EQ(std::fgetc(stream), '4');
  std::fclose(stream);
}

TEST(EqualIgnoringCase, FoldsByTheLocale) {
  EXPECT_TRUE(EqualIgnoringCase(L"", L""));
  EXPECT_TRUE(EqualIgnoringCase(L"All[`1", L"aLL[`1"));
  EXPECT_FALSE(EqualIgnoringCase(L"all", L"all "));
  EXPECT_FALSE(EqualIgnoringCase(L"@[`{", L"`{@["));
  EXPECT_FALSE(EqualIgnoringCase(L"\u00c9", L"\u00e9"));
  ASSERT_NE(std::setlocale(LC_ALL, "C.UTF-8"), nullptr);
  EXPECT_TRUE(EqualIgnoringCase(L"\u00c9", L"\u00e9"));
  EXPECT_TRUE(EqualIgnoringCase(std::wstring(1, -23), std::wstring(1, -23)));
  std::setlocale(LC_ALL, "C");
}

}  // namespace
}  // namespace tabulon
