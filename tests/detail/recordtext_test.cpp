// Any bytes as names.
#include "detail/recordtext.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>

#include "base/utf.h"

namespace tabulon {
namespace {

// Every text is what the plain conversion of its bytes gives, up to the first zero unit.
TEST(RecordText, DecodesLikeThePlainConversion) {
  std::mt19937 random(9);
  const std::string alphabet("a.\0Z\x7F\x80\xC0\xC3\xA9\xE2\x82\xAC\xF0\xFF", 14);
  RecordText text;
  for (int i = 0; i < 100000; ++i) {
    std::string bytes;
    const bool plain = random() % 2 == 0;
    for (size_t n = random() % 20; n > 0; --n) {
      bytes.push_back(plain ? 'a' : alphabet[random() % alphabet.size()]);
    }
    std::wstring expected;
    AppendUtfToWide(expected, bytes);
    expected.resize(std::min(expected.find(L'\0'), expected.size()));
    text.Assign(bytes);
    EXPECT_EQ(text.LastDot(), expected.rfind(L'.') == std::wstring::npos
                                  ? -1
                                  : static_cast<std::ptrdiff_t>(expected.rfind(L'.')));
    ASSERT_EQ(text.Wide(), expected) << testing::PrintToString(bytes);
    if (text.IsAscii()) {
      ASSERT_EQ(std::wstring(text.Ascii().begin(), text.Ascii().end()), expected);
    }
  }
}

}  // namespace
}  // namespace tabulon
