#include "base/template.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <clocale>
#include <cstdlib>
#include <cwctype>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "base/rest.h"
#include "fuzz/templatereference.h"

namespace tabulon {
namespace {

bool IsAscii(const std::wstring& text) {
  return std::ranges::all_of(text, [](wchar_t c) { return c >= 0 && c < 0x80; });
}

std::string Narrow(const std::wstring& text) {
  return {text.begin(), text.end()};
}

// Whether the look for the needle in place refuses an ASCII text. Bytes that a needle may find are
// behind it.
bool IsRefusedInPlace(const CompiledTemplate& pattern, const std::string& text) {
  const std::string padded = text + "aAbzaAbz" + std::string(48, '/');
  return pattern.needle().CanLookInPlace() &&
         pattern.needle().IsMissingInPlace(std::string_view(padded).substr(0, text.size()));
}

// The result of both forms of the match; they have to agree.
bool Matches(const std::wstring& text, const std::wstring& coded, bool backslash) {
  const CompiledTemplate pattern(coded, backslash);
  const bool wide = pattern.Match(std::wstring_view(text));
  if (IsAscii(text)) {
    const uint64_t tail = TailWord(Narrow(text));
    EXPECT_TRUE(!pattern.tailDecides() || pattern.tail().Fits(tail) == wide) << Narrow(coded);
    EXPECT_EQ(pattern.Match(Narrow(text)), wide) << Narrow(text) << " on " << Narrow(coded);
    EXPECT_FALSE(wide && IsRefusedInPlace(pattern, Narrow(text)))
        << Narrow(text) << " on " << Narrow(coded);
  }
  return wide;
}

TEST(Template, CodesWildcardsAndQuotes) {
  // clang-format off
  const std::pair<std::wstring, std::wstring> rows[] = {
      {L"", L""}, {L"a?b*c~", L"a\1b\2c\3"}, {L"'*'?'''~", L"*?'~"}, {L"it's '", L"it's '"},
      {L"''*", L"'\2"}, {L"'a*'", L"'a\2'"},
  };
  // clang-format on
  for (const auto& [typed, coded] : rows) {
    EXPECT_EQ(ConvertTemplate(typed), coded);
    std::wstring buffer(typed.size() + 1, L'#');
    size_t length = 0;
    ConvertTemplate(typed.data(), typed.size(), buffer.data(), &length);
    EXPECT_EQ(buffer.substr(0, length + 1), coded + L'\0');
  }
}

TEST(Template, FindsASegmentAtEveryPlace) {
  for (size_t size = 3; size < 90; ++size) {
    for (size_t place = 0; place + 3 <= size; ++place) {
      std::wstring text(size, L'x');
      text.replace(place, 3, L"abc");
      EXPECT_TRUE(Matches(text, ConvertTemplate(L"*aBC*"), false)) << place << " of " << size;
      text[place + 1] = L'x';
      EXPECT_FALSE(Matches(text, ConvertTemplate(L"*aBC*"), false)) << place << " of " << size;
    }
  }
}

TEST(Template, FollowsItsRules) {
  // The result with '/' as the separator, and with '\'.
  // clang-format off
  const struct { const wchar_t *typed, *text; bool slash, backslash; } rows[] = {
      // Plain text, case and '?'.
      {L"", L"", 1, 1}, {L"", L"a", 0, 0}, {L"ReadMe", L"README", 1, 1}, {L"a", L"ab", 0, 0},
      {L"?", L"", 0, 0}, {L"?", L"/", 0, 1}, {L"a?c", L"a\\c", 1, 0}, {L"'*", L"*", 1, 1},
      {L"'*", L"a", 0, 0},
      // '*' and '~' at the end.
      {L"*", L"abc", 1, 1}, {L"*", L"a/b", 0, 1}, {L"~", L"a/b", 1, 1}, {L"*?", L"", 1, 1},
      // A segment may come after a separator, whatever the wildcard before it.
      {L"*.log", L"A.LOG", 1, 1}, {L"*.log", L"x/y.log", 1, 1}, {L"*.log", L"x.log.gz", 0, 0},
      {L"*ab*", L"xaby", 1, 1}, {L"*ab*", L"ab/x", 0, 1}, {L"*ab*", L"b/ab/a", 0, 1},
      {L"*report*final*", L"my report, the FINAL one", 1, 1}, {L"*b*a*", L"ab", 0, 0},
      // A capital right after a wildcard matches nothing.
      {L"*A", L"a", 0, 0}, {L"*A", L"A", 0, 0}, {L"*aB", L"xAb", 1, 1}, {L"A*", L"abc", 1, 1},
      // The separator and '~' at the end.
      {L"dir/~", L"dir", 1, 0}, {L"dir/~", L"dir/x/y", 1, 1}, {L"dir/~", L"dirx", 0, 0},
      {L"dir/~", L"a/dir", 0, 0}, {L"longdirname/~", L"LONGDIRNAME", 1, 0}, {L"/~", L"", 1, 0},
      {L"dir/*", L"dir", 0, 0}, {L"dir/~*", L"dir", 0, 0}, {L"*dir/~", L"a/dir", 1, 0},
      {L"*a/*/~", L"a/", 0, 0}, {L"*a/~/~", L"a/", 1, 0}, {L"a*/~", L"a/", 1, 1},
  };
  // clang-format on
  for (const auto& row : rows) {
    SCOPED_TRACE(Narrow(row.typed) + " on " + Narrow(row.text));
    const std::wstring coded = ConvertTemplate(row.typed);
    EXPECT_EQ(Matches(row.text, coded, false), row.slash);
    EXPECT_EQ(Matches(row.text, coded, true), row.backslash);
    EXPECT_EQ(TemplateMatch(std::wstring_view(row.text), coded, true), row.backslash);
  }
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
  EXPECT_FALSE(Matches(text, ConvertTemplate(pattern + L"b*"), false));
  EXPECT_FALSE(Matches(text, ConvertTemplate(pattern + L"b/~"), false));
}

// A template that `text` fits or nearly fits: pieces of it give way to wildcards or other
// units.
std::wstring TemplateFor(std::mt19937& random, const std::wstring& text) {
  std::wstring typed;
  for (size_t at = 0; at < text.size(); ++at) {
    const auto unit = static_cast<wint_t>(text[at]);
    const size_t choice = random() % 16;
    if (choice < 2) {
      typed += L"*~"[choice];
      at += random() % (random() % 4 == 0 ? 40 : 8);
    } else {
      typed += choice == 2
                   ? L"?z"[random() % 4 == 0]
                   : static_cast<wchar_t>(choice == 3 ? std::towupper(unit) : std::towlower(unit));
    }
  }
  return random() % 6 == 0 ? typed + L"/~" : typed;
}

TEST(Template, LooksForItsNeedleInPlace) {
  struct Case {
    const wchar_t* typed;
    std::string text;
    bool refused;
  };
  const std::string dots(30, '.');
  const std::vector<Case> cases = {
      {L"*backup*", "backup", false},
      {L"*backup*", "my.BackuP.tar", false},
      {L"*backup*", "buckap", false},  // only the ends are looked at
      {L"*backup*", "blackup", true},
      {L"*backup*", "", true},
      {L"*backup*", dots.substr(4) + "backup", false},
      {L"*backup*", dots + "..", true},
      {L"*backup*", dots + dots, false},  // longer than what is looked at
      {L"*0123456789abcdefg*", "0123456789abcdefh", true},
      {L"*0123456789abcdefgh*", "none", false},  // a needle longer than what is looked at
      {L"*.tmp", "none", false},                 // no needle
  };
  for (const Case& c : cases) {
    const CompiledTemplate pattern(ConvertTemplate(c.typed), false);
    EXPECT_EQ(IsRefusedInPlace(pattern, c.text), c.refused) << Narrow(c.typed) << " " << c.text;
  }
}

// The matcher searches segment by segment; that this gives what the recursion gives is checked
// here.
TEST(Template, AgreesWithPlainRecursion) {
  std::mt19937 random(20240229);
  const auto text = [&](const std::wstring& alphabet, size_t longest) {
    std::wstring made(random() % (longest + 1), L'\0');
    for (wchar_t& unit : made) unit = alphabet[random() % alphabet.size()];
    return made;
  };
  int matches = 0;
  const int pairs = std::getenv("TABULON_FULL") != nullptr ? 4'000'000 : 100'000;
  for (int i = 0; i < pairs; ++i) {
    const std::wstring given = i % 4 == 0   ? text(L"aAbBz/\\._1@`[{", 50)
                               : i % 2 == 0 ? text(L"aAb/\\.", 12)
                                            : text(L"a/", 12);
    const std::wstring typed = i % 4 == 0   ? TemplateFor(random, given)
                               : i % 2 == 0 ? text(L"aAb/\\.?*~'", 12)
                                            : text(L"a/?*~", 12);
    const std::wstring coded = ConvertTemplate(typed);
    const bool backslash = random() % 2 == 0;
    const bool expected = reference::Match(given, coded, backslash ? L'\\' : L'/');
    ASSERT_EQ(Matches(given, coded, backslash), expected)
        << "template " << Narrow(typed) << ", text " << Narrow(given) << ", backslash "
        << backslash;
    matches += expected;
  }
  EXPECT_GT(matches, pairs / 10);  // both results are common
}

}  // namespace
}  // namespace tabulon
