#include "base/textstream.h"

#include <fcntl.h>
#include <gtest/gtest.h>

#include <clocale>

#include "base/fileio.h"
#include "tests/support.h"
#include "tests/terminal.h"

namespace tabulon {
namespace {

// What arrives in a file when `write` has used a stream on it.
template <class Write>
std::string Written(TextEncoding encoding, Write write) {
  const TempDir dir;
  const std::string path = dir / "out";
  TextStream stream;
  stream.Attach(open(path.c_str(), O_WRONLY | O_CREAT, 0600), true, encoding, path);
  write(stream);
  EXPECT_EQ(stream.Close(), 0);
  return ReadFile(path);
}

TEST(TextStream, EncodesOrReplacesEveryUnit) {
  using namespace std::string_literals;
  // clang-format off
  const std::wstring text = {L'a', L'\n', 0xE9, 0x20AC, 0xD800, 0x1F600, 0xE20AC, 0x10FFFF,
                             0xE0041, 0x110000, -1, -128};
  const struct { const char* locale; TextEncoding encoding; std::string bytes; } rows[] = {
      {"C", TextEncoding::kLocale, "a\n??????????"},
      {"C.UTF-8", TextEncoding::kLocale,
       "a\n\xC3\xA9\xE2\x82\xAC?\xF0\x9F\x98\x80\xF3\xA2\x82\xAC\xF4\x8F\xBF\xBF\xF3\xA0\x81\x81???"},
      {"C", TextEncoding::kUtf16Le, "a\0\n\0\xE9\0\xAC\x20\0\xD8\x3D\xD8\0\xDE"
                                    "\x48\xDB\xAC\xDC\xFF\xDB\xFF\xDF\x40\xDB\x41\xDC?\0\xFF\xFF\x80\xFF"s},
      {"C", TextEncoding::kUcs2Le, "a\0\n\0\xE9\0\xAC\x20\0\xD8?\0?\0?\0?\0?\0?\0?\0"s},
  };
  // clang-format on
  for (const auto& row : rows) {
    ASSERT_NE(std::setlocale(LC_ALL, row.locale), nullptr);
    EXPECT_EQ(Written(row.encoding, [&](TextStream& stream) { stream.Write(text); }), row.bytes)
        << row.locale << ' ' << static_cast<int>(row.encoding);
  }
  std::setlocale(LC_ALL, "C");
}

// Pieces of every length up to a few buffers, wide and narrow in turn, with a unit to encode at
// each end, so that buffer ends fall everywhere.
TEST(TextStream, KeepsOrderAcrossBuffersAndForms) {
  std::setlocale(LC_ALL, "C.UTF-8");
  std::string expected;
  const std::string got = Written(TextEncoding::kLocale, [&](TextStream& stream) {
    for (const size_t length : {1U, 7U, 8U, 9U, 1000U, 262143U, 262144U, 262145U, 700000U, 3U}) {
      stream.Write(L"\u00e9" + std::wstring(length, L'w') + L"\u20ac");
      stream.WriteBytes(std::string(length, 'n'));
      expected += "\xC3\xA9" + std::string(length, 'w') + "\xE2\x82\xAC" + std::string(length, 'n');
    }
  });
  EXPECT_TRUE(got == expected);
  const std::string utf16 = Written(TextEncoding::kUtf16Le, [&](TextStream& stream) {
    stream.Write(std::wstring(300000, L'\u20ac'));
  });
  EXPECT_TRUE(utf16.size() == 600000 && utf16.find_first_not_of("\xAC\x20") == utf16.npos);
  std::setlocale(LC_ALL, "C");
}

TEST(TextStream, TerminalsGetTheirLinesAtOnce) {
  Terminal terminal;
  REQUIRE_TERMINAL(terminal);
  TextStream stream;
  stream.Attach(terminal.line(), false, TextEncoding::kLocale, "terminal");
  ASSERT_TRUE(stream.IsTerminal());
  stream.Write(L"begun");
  EXPECT_EQ(terminal.Shown(0), "");
  stream.Write(L", done\nand");
  const std::string line = "begun, done\r\nand";
  EXPECT_EQ(terminal.Shown(line.size()), line);
  stream.WriteBytes("!");
  EXPECT_EQ(terminal.Shown(1), "!");
}

}  // namespace
}  // namespace tabulon
