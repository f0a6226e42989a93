// Any bytes as names.
#include "detail/recordtext.h"

#include <gtest/gtest.h>

#include <random>
#include <string>

namespace tabulon {
namespace {

// The rules written out: one, two or three bytes a unit by the lead's leading ones, bytes behind
// the end are zero, a zero where a lead is wanted ends the text, and so does a unit of zero.
std::wstring PlainDecode(const std::string& bytes) {
  std::wstring text;
  const auto at = [&](size_t i) { return i < bytes.size() ? bytes[i] & 0xFF : 0; };
  for (size_t i = 0; at(i) != 0;) {
    const int lead = at(i);
    int unit = lead;
    if (lead >= 0x80 && lead >> 5 == 6) unit = (lead & 0x1F) << 6 | (at(i + 1) & 0x3F);
    if (lead >= 0x80 && lead >> 5 != 6) {
      unit = lead << 12 | (at(i + 1) >> 2 & 0xF) << 8 | (at(i + 1) & 3) << 6 | (at(i + 2) & 0x3F);
    }
    if (unit == 0) break;
    text.push_back(unit);
    i += lead < 0x80 ? 1 : lead >> 5 == 6 ? 2 : 3;
  }
  return text;
}

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
    const std::wstring expected = PlainDecode(bytes);
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
