#include "base/template.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <clocale>
#include <random>
#include <string>

#include "tests/base/templatereference.h"

namespace tabulon {
namespace {

bool IsAscii(const std::wstring& text) {
  return std::all_of(text.begin(), text.end(), [](wchar_t c) { return c >= 0 && c < 0x80; });
}

std::string Narrow(const std::wstring& text) {
  return {text.begin(), text.end()};
}

// The result of both forms of the match; they have to agree.
bool Matches(const std::wstring& text, const std::wstring& coded, bool backslash) {
  const CompiledTemplate pattern(coded, backslash);
  const bool wide = pattern.Match(std::wstring_view(text));
  if (IsAscii(text)) {
    EXPECT_EQ(pattern.Match(Narrow(text)), wide) << Narrow(text) << " on " << Narrow(coded);
  }
  return wide;
}

TEST(Template, CodesWildcardsAndQuotes) {
  const struct {
    std::wstring typed;
    std::wstring coded;
  } rows[] = {
      {L"", L""},       {L"a?b*c~", L"a\1b\2c\3"}, {L"'*'?'''~", L"*?'~"}, {L"it's '", L"it's '"},
      {L"''*", L"'\2"}, {L"'a*'", L"'a\2'"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(ConvertTemplate(row.typed), row.coded);
    std::wstring buffer(row.typed.size() + 1, L'#');
    size_t length = 0;
    ConvertTemplate(row.typed.data(), row.typed.size(), buffer.data(), &length);
    EXPECT_EQ(buffer.substr(0, length + 1), row.coded + L'\0');
  }
}

TEST(Template, FollowsItsRules) {
  const struct {
    const wchar_t* typed;
    const wchar_t* text;
    bool slash;      // result with '/' as the separator
    bool backslash;  // and with '\'
  } rows[] = {
      // Plain text, case and '?'.
      {L"", L"", true, true},
      {L"", L"a", false, false},
      {L"ReadMe", L"README", true, true},
      {L"readme", L"readme2", false, false},
      {L"?", L"", false, false},
      {L"?", L"/", false, true},
      {L"a?c", L"a\\c", true, false},
      {L"'*", L"*", true, true},
      {L"'*", L"a", false, false},
      // '*' and '~' at the end.
      {L"*", L"", true, true},
      {L"*", L"abc", true, true},
      {L"*", L"a/b", false, true},
      {L"~", L"a/b", true, true},
      {L"a*", L"ab/", false, true},
      {L"*?", L"", true, true},
      {L"*~", L"a/b", true, true},
      {L"?*", L"", false, false},
      // A segment may stand behind a separator, whatever the wildcard in front of it.
      {L"*.log", L"A.LOG", true, true},
      {L"*.log", L"x/y.log", true, true},
      {L"*.log", L"x.log.gz", false, false},
      {L"a*a", L"a", false, false},
      {L"*ab*", L"xaby", true, true},
      {L"*ab*", L"ab/ab", true, true},
      {L"*ab*", L"ab/x", false, true},
      {L"*ab*", L"ab/xab", true, true},
      {L"*ab*", L"b/ab/a", false, true},
      {L"*ba/c*", L"xba/cy", true, true},  // the separator in the middle of the segment
      {L"*a?c*", L"a/cabc", true, true},
      {L"*report*final*", L"my report, the FINAL one.txt", true, true},
      {L"*report*final*", L"final report", false, false},
      // A capital right behind a wildcard matches nothing.
      {L"*A", L"a", false, false},
      {L"*A", L"A", false, false},
      {L"*aB", L"xAb", true, true},
      {L"A*", L"abc", true, true},
      // The separator and '~' at the end.
      {L"dir/~", L"dir", true, false},
      {L"dir/~", L"dir/x/y", true, true},
      {L"dir/~", L"dirx", false, false},
      {L"dir/~", L"di", false, false},
      {L"dir/~", L"a/dir", false, false},
      {L"longdirname/~", L"LONGDIRNAME", true, false},
      {L"dir/*", L"dir", false, false},
      {L"dir/~*", L"dir", false, false},
      {L"dir/*~", L"dir", false, false},
      {L"/~", L"", true, false},
      {L"*dir/~", L"a/dir", true, false},
      {L"*dir/~", L"dir/a", true, true},
      {L"*dir/~", L"dir.a", false, false},
      {L"*/~", L"abc", true, false},
      {L"*/~", L"", true, false},
      {L"*a/*/~", L"a/", false, false},
      {L"*a/~/~", L"a/", true, false},
      {L"*/*/~", L"a/", true, false},
      {L"a/*/~", L"a/", false, false},
      {L"a*/~", L"a/", true, true},
  };
  for (const auto& row : rows) {
    const std::wstring coded = ConvertTemplate(row.typed);
    EXPECT_EQ(Matches(row.text, coded, false), row.slash)
        << Narrow(row.typed) << " on " << Narrow(row.text);
    EXPECT_EQ(Matches(row.text, coded, true), row.backslash)
        << Narrow(row.typed) << " on " << Narrow(row.text);
    EXPECT_EQ(TemplateMatch(std::wstring_view(row.text), coded, true), row.backslash);
    EXPECT_EQ(TemplateMatch(Narrow(row.text), coded, false), row.slash);
  }
}

TEST(Template, EndsAtAZeroUnit) {
  EXPECT_TRUE(CompiledTemplate(std::wstring_view(L"a\0b", 3), false).Match("A"));
}

TEST(Template, FoldsByTheLocale) {
  const std::wstring coded = ConvertTemplate(L"\u00c9t*\u00e9");
  EXPECT_FALSE(Matches(L"\u00e9t\u00c9", coded, false));
  ASSERT_NE(std::setlocale(LC_ALL, "C.UTF-8"), nullptr);
  EXPECT_TRUE(Matches(L"\u00e9t\u00c9", ConvertTemplate(L"\u00c9t*\u00e9"), false));
  EXPECT_FALSE(Matches(L"\u00e9t\u00c9", ConvertTemplate(L"\u00c9t*\u00c9"), false));
  EXPECT_FALSE(Matches(L"eta", coded, false));
  std::setlocale(LC_ALL, "C");
}

TEST(Template, CostStaysBounded) {
  std::wstring pattern;
  for (int i = 0; i < 200; ++i) pattern += L"*a?a";
  const std::wstring text(20000, L'a');
  EXPECT_TRUE(Matches(text, ConvertTemplate(pattern), false));
  EXPECT_FALSE(Matches(text, ConvertTemplate(pattern + L"*b"), false));
  EXPECT_FALSE(Matches(text, ConvertTemplate(pattern + L"b*"), false));
  EXPECT_FALSE(Matches(text, ConvertTemplate(pattern + L"b/~"), false));
}

using Random = std::mt19937;

std::wstring RandomText(Random& random, const std::wstring& alphabet, size_t longest) {
  std::wstring text(random() % (longest + 1), L'\0');
  for (wchar_t& unit : text) unit = alphabet[random() % alphabet.size()];
  return text;
}

// A template that `text` fits or nearly fits: pieces of it give way to wildcards or other units.
std::wstring TemplateFor(Random& random, const std::wstring& text) {
  std::wstring typed;
  for (size_t at = 0; at < text.size(); ++at) {
    switch (random() % 16) {
      case 0:
      case 1:
        typed += L"*~"[random() % 2];
        at += random() % (random() % 4 == 0 ? 40 : 8);
        break;
      case 2:
        typed += L'?';
        break;
      case 3:
        typed += random() % 4 == 0 ? L'z' : text[at];
        break;
      case 4:
        typed += static_cast<wchar_t>(std::towupper(static_cast<wint_t>(text[at])));
        break;
      default:
        typed += reference::Lower(text[at]);
    }
  }
  return random() % 6 == 0 ? typed + L"/~" : typed;
}

// The matcher searches segment by segment; that this gives what the recursion gives is checked
// here.
TEST(Template, AgreesWithPlainRecursion) {
  Random random(20240229);
  int matches = 0;
  for (int i = 0; i < 200000; ++i) {
    std::wstring text, typed;
    if (i % 4 == 0) {
      text = RandomText(random, L"aAbBz/\\._1@`[{", 50);
      typed = TemplateFor(random, text);
    } else {
      text = RandomText(random, i % 2 == 0 ? L"aAb/\\." : L"a/", 12);
      typed = RandomText(random, i % 2 == 0 ? L"aAb/\\.?*~'" : L"a/?*~", 12);
    }
    const std::wstring coded = ConvertTemplate(typed);
    const bool backslash = random() % 2 == 0;
    const bool expected = reference::Match(text, coded, backslash ? L'\\' : L'/');
    ASSERT_EQ(Matches(text, coded, backslash), expected)
        << "template " << Narrow(typed) << ", text " << Narrow(text) << ", backslash " << backslash;
    matches += expected;
  }
  EXPECT_GT(matches, 20000);  // both results are common
}

}  // namespace
}  // namespace tabulon
