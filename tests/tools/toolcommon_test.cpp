#include <gmock/gmock.h>
#include <unistd.h>

#include <new>
#include <vector>

#include "detail/filewindow.h"
#include "terminal.h"
#include "tests/support/dtlbuild.h"
#include "tests/support/openscan.h"
#include "tests/support/stringsink.h"
#include "tools/common/figures.h"
#include "tools/common/progress.h"
#include "tools/common/terminaltext.h"
#include "tools/scanreader/toolrun.h"
#include "tools/scanwriter/packedsink.h"

namespace tabulon {
namespace {

TEST(TerminalText, NothingThatActsOnATerminal) {
  // clang-format off
  const std::pair<std::string, std::string> rows[] = {
      {"plain \u00FC \u20AC \U0001F600", "plain \u00FC \u20AC \U0001F600"},
      {"a\x1B[2Jb\r\n\t\x7F", "a?[2Jb????"}, {"\u0085\u009B", "??"},
      {"\u202Egpj.exe", "?gpj.exe"}, {"\u200E\u200F\u061C\u2066\u2069\u2028", "??????"},
      {"\x9B\xFF\xC3(", "??" "?("}, {"\uFFFD", "\uFFFD"}, {std::string(1, '\0'), "?"},
  };
  // clang-format on
  for (const auto& [text, shown] : rows) EXPECT_EQ(Harmless(text), shown);
  EXPECT_EQ(CutToColumns("abc\u00FCdef", 4), "abc");
  EXPECT_EQ(CutToColumns("abc\u00FCdef", 5), "abc\u00FC");
  EXPECT_EQ(CutToColumns("abc", 3), "abc");
}

TEST(Figures, AsPeopleReadThem) {
  // clang-format off
  const std::pair<uint64_t, const char*> sizes[] = {
      {0, "0 bytes"}, {1023, "1023 bytes"}, {1024, "1.00 KB"}, {1048575, "1.00 MB"},
      {UINT64_MAX, "16.00 EB"}};
  using Seconds = std::chrono::duration<double>;
  const std::pair<double, const char*> times[] = {
      {0.04, "0.0 s"}, {59.94, "59.9 s"}, {59.96, "1 min 0 s"}, {10920, "3 h 2 min"}};
  // clang-format on
  for (const auto& [bytes, text] : sizes) EXPECT_EQ(SizeText(bytes), text);
  for (const auto& [time, text] : times) EXPECT_EQ(DurationText(Seconds(time)), text);
  EXPECT_EQ(Grouped(999) + Grouped(1000) + Grouped(1234567), "9991,0001,234,567");
  EXPECT_EQ(RemainingText(0, 10, Seconds(5)), "");
  EXPECT_EQ(RemainingText(25, 100, Seconds(4)), "about 12 s left");
  EXPECT_EQ(RemainingText(1, 100, Seconds(4)), "about 6 min 36 s left");
}

// A long command shows where it is, harmless and no wider than the terminal, and takes it back.
TEST(Progress, IsALineOnATerminal) {
  Terminal terminal;
  REQUIRE_TERMINAL(terminal);
  const pid_t child = fork();
  if (child == 0) {
    dup2(terminal.line(), STDERR_FILENO);
    ProgressLine line([](auto) { return "\x1B" + std::string(200, 'w'); });
    sleep(2);
    line.Tell("message\n");
    line.Stop();
    _exit(0);
  }
  terminal.TakeLine();
  const std::string erase = "\r\x1B[K";
  const std::string shown = terminal.Shown();
  EXPECT_THAT(shown, testing::StartsWith(erase + "?" + std::string(78, 'w') + erase));
  EXPECT_THAT(shown, testing::HasSubstr("w" + erase + "message\r\n"));
  waitpid(child, nullptr, 0);
}

// A look at what has been cut off a mapped window ends the process, also in the middle of a copy by
// code that has something to clean up; so does the want of memory. dtldiff's 1 tells of changes.
TEST(RunTool, AProcessThatEndsAtOnceHasTheStatusOfAFailure) {
  const auto copyCutFile = [](int, char**) {
    const UniqueFd file = FileInMemory(std::string(100'000, 'x'));
    FileWindow window(file.get());
    size_t available = 0;
    const unsigned char* bytes = window.At(0, 100'000, available);
    return ftruncate(file.get(), 0) + std::vector(bytes, bytes + available)[0];
  };
  const auto lackMemory = [](int, char**) { return std::get_new_handler()(), 0; };
  EXPECT_EXIT(exit(RunTool(0, nullptr, copyCutFile, 2)), testing::ExitedWithCode(2),
              "^Error reading scan detail file\n$");
  EXPECT_EXIT(exit(RunTool(0, nullptr, lackMemory, 2)), testing::ExitedWithCode(2), "^Insuff");
}

// A sink that takes so many bytes and then fails.
struct FullSink : StringSink {
  bool Append(std::string_view bytes) override {
    errno = ENOSPC;
    return text.size() + bytes.size() <= room && StringSink::Append(bytes);
  }
  size_t room = 0;
};

TEST(PackedSink, TellsWhatFails) {
  const std::string plain = BuildDtl({.tail = std::string(3 << 20, 'x')});
  for (const size_t room : {size_t{0}, size_t{300}, CompressDtl(plain).size() - 1}) {
    FullSink full;
    full.room = room;
    PackedSink packed(full);
    EXPECT_TRUE(!(packed.Append(plain) && packed.Finish()) && errno == ENOSPC) << room;
  }
}

}  // namespace
}  // namespace tabulon
