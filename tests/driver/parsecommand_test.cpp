#include "driver/parsecommand.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace tabulon {
namespace {

using testing::Eq;
using testing::ExitedWithCode;

// A command line that owns its elements, as the parser clears them.
class Arguments {
 public:
  explicit Arguments(std::vector<std::string> elements) : elements_(std::move(elements)) {
    elements_.insert(elements_.begin(), "bin\\tabulon");
    for (std::string& element : elements_) pointers_.push_back(element.data());
    pointers_.push_back(nullptr);
  }
  int count() const { return static_cast<int>(elements_.size()); }
  char** vector() { return pointers_.data(); }

 private:
  std::vector<std::string> elements_;
  std::vector<char*> pointers_;
};

// One line for what the parser found: "name=value" or "name" of each given option, list values
// joined by ',', "#number" behind complete numbers, and after "|" the elements it left alone.
std::string Found(std::span<const CmdOption> table, Arguments& arguments) {
  std::string out;
  for (const CmdOption& row : table) {
    if (!row.Given()) continue;
    out.append(out.empty() ? "" : " ").append(row.name);
    if ((row.flags & kOptGivenWithPlus) != 0) out.append("+");
    if (row.value != nullptr) out.append("=").append(row.value);
    for (const CmdOccurrence& one : row.list) {
      out.append(&one == row.list.data() ? "=" : ",").append(one.value);
    }
    const bool number = (row.flags & kOptCompleteNumber) != 0;
    if (number) out.append("#").append(std::to_string(row.number));
    if ((row.flags & kOptSignedNumber) != 0) out.append("s");
  }
  out.append("|");
  for (int i = 1; i < arguments.count(); ++i) {
    if (arguments.vector()[i] != nullptr) out.append(arguments.vector()[i]).append(";");
  }
  return out;
}

struct Parsed {
  const char* about;
  std::vector<std::string> elements;
  std::string found;
};

TEST(ParseCommandLine, FillsTheTable) {
  const Parsed rows[] = {
      {"nothing", {}, "|"},
      {"a bare word is left alone", {"a.cfg", "-p"}, "p|a.cfg;"},
      {"the longest name wins", {"-qf", "x"}, "qf=x|"},
      {"an argument may be any text", {"-q", "name eq x", "-dtl", ""}, "dtl=#0 q=name eq x|"},
      {"a cluster", {"-pz"}, "z p|"},
      {"a cluster whose letters take the followers in turn", {"-lpe", "L", "E"}, "l=L e=E p|"},
      {"a signed number is an argument", {"-debug", "-5"}, "debug=-5#-5s|"},
      {"plus sign, hexadecimal", {"-debug", "+0x10"}, "debug=+0x10#16s|"},
      {"octal", {"-debug", "010"}, "debug=010#8|"},
      {"an empty number is 0", {"-debug", ""}, "debug=#0|"},
      {"a number too large is still text",
       {"-l", "18446744073709551616"},
       "l=18446744073709551616|"},
      {"a repeated option", {"-cat", "a", "-p", "-cat", "b"}, "cat=a,b p|"},
  };
  for (const Parsed& row : rows) {
    SCOPED_TRACE(row.about);
    ResetCmdOpts();
    Arguments arguments(row.elements);
    ParseCommandLine(arguments.count(), arguments.vector());
    EXPECT_EQ(Found(cmdOpts, arguments), row.found);
  }
}

TEST(ParseCommandLine, RepeatedOptionsKeepTheirPlaces) {
  ResetCmdOpts();
  Arguments arguments({"-cat", "a", "-p", "-cat", "7"});
  ParseCommandLine(arguments.count(), arguments.vector());
  const CmdOption& cat = cmdOpts[kOptCat];
  EXPECT_EQ(cat.number, 2);
  ASSERT_EQ(cat.list.size(), 2U);
  EXPECT_EQ(cat.list[0].position, 1);
  EXPECT_EQ(cat.list[1].position, 4);
  EXPECT_EQ(cat.list[1].number, 7);
  EXPECT_EQ(cat.list[1].flags, kOptGiven | kOptArgumentFound | kOptCompleteNumber);
  EXPECT_EQ(cmdOpts[kOptProgress].position, 3);
  EXPECT_EQ(cmdOpts[kOptQva].position, -1);
}

TEST(ParseCommandLineDeathTest, RefusesWithItsMessage) {
  const Parsed rows[] = {
      {"unknown", {"-x"}, "'-x' is an unknown option\n"},
      {"unknown behind a letter", {"-pxy"}, "'-xy' is an unknown option\n"},
      {"a prefix alone", {"-"}, "'-' is an unknown option\n"},
      {"letter case", {"-CFG", "a"}, "'-CFG' is an unknown option\n"},
      {"nearly a help request", {"-?x"}, "'-?x' is an unknown option\n"},
      {"text behind a longer name", {"-debug3"}, "'-debug3' is an unknown option\n"},
      {"the same inside a cluster", {"-pqvax"}, "'-pqvax' is an unknown option\n"},
      {"plus", {"+p"}, "'+p' is an unknown option\n"},
      {"an option is no argument", {"-q", "-p"}, "'-q' requires an argument\n"},
      {"a sign alone neither", {"-q", "-"}, "'-q' requires an argument\n"},
      {"the end", {"-pdebug"}, "'-debug' requires an argument\n"},
      {"numeric", {"-debug", "x"}, "'-debug' arguments must be numeric\n"},
      {"half numeric", {"-debug", "3x"}, "'-debug' arguments must be numeric\n"},
      {"out of range", {"-debug", "18446744073709551616"}, "'-debug' arguments must be numeric\n"},
      {"twice", {"-dtl", "a", "-dtl", "b"}, "'-dtl b' is a conflicting option\n"},
      {"twice, the second without its argument",
       {"-l", "a", "-l"},
       "'-l' is a conflicting option\n"},
      {"a flag twice", {"-pp"}, "'-p' is a conflicting option\n"},
      {"bytes beyond ASCII pass unchanged",
       {"-\xC3\xA9\xFF"},
       "'-\xC3\xA9\xFF' is an unknown option\n"},
  };
  for (const Parsed& row : rows) {
    SCOPED_TRACE(row.about);
    ResetCmdOpts();
    Arguments arguments(row.elements);
    EXPECT_EXIT(ParseCommandLine(arguments.count(), arguments.vector()), ExitedWithCode(1),
                Eq(row.found));
  }
}

// Kinds of options that the program's own table does not use.
std::vector<CmdOption> ToolTable() {
  return {{"n", kOptTakesArgument | kOptMayAttach},
          {"only", kOptTakesArgument | kOptMustAttach | kOptTextMayFollow},
          {"s", kOptPlusAllowed},
          {"lone", 0},
          {"x", kOptNoTextFollows},
          {"X", 0},
          {"size", kOptAlias, 0},
          {}};
}

TEST(ParseCommandLineEx, SupportsEveryKindOfRow) {
  const Parsed rows[] = {
      {"attached", {"-n5", "7"}, "n=5#5|7;"},
      {"an attached argument may look like an option", {"-n-s"}, "n=-s|"},
      {"attachment is optional", {"-n", "7"}, "n=7#7|"},
      {"an optional argument", {"-n", "-s"}, "n s|"},
      {"attached only", {"-only=1", "2"}, "only==1|2;"},
      {"attached only, and missing", {"-only", "2"}, "only|2;"},
      {"plus", {"+s"}, "s+|"},
      {"an alias", {"-size", "3"}, "n=3#3|"},
      {"the later of equally long names, case ignored", {"-x"}, "X|"},
      {"case ignored", {"-LONE"}, "lone|"},
  };
  for (const Parsed& row : rows) {
    SCOPED_TRACE(row.about);
    std::vector<CmdOption> table = ToolTable();
    Arguments arguments(row.elements);
    const char* failed = ParseCommandLineEx(arguments.count(), arguments.vector(),
                                            kParseReturnErrors | kParseIgnoreCase, table);
    EXPECT_EQ(failed, nullptr);
    EXPECT_EQ(Found(table, arguments), row.found);
  }
}

TEST(ParseCommandLineEx, HandsTheFailingElementBack) {
  std::vector<CmdOption> table = ToolTable();
  Arguments arguments({"-s", "-xs", "-lone"});
  testing::internal::CaptureStderr();
  const char* failed =
      ParseCommandLineEx(arguments.count(), arguments.vector(), kParseReturnErrors, table);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "'-xs' is an unknown option\n");
  EXPECT_STREQ(failed, "-xs");
  EXPECT_EQ(Found(table, arguments), "s|-lone;");
}

TEST(CheckOptionTable, FindsTheLongestNameAndTheRowBehindAnAlias) {
  const std::vector<CmdOption> table = ToolTable();
  EXPECT_EQ(CheckOptionTable(table, "lonely", 0), 3);
  EXPECT_EQ(CheckOptionTable(table, "sizes", 0), 0);
  EXPECT_EQ(CheckOptionTable(table, "LONE", 0), -1);
  EXPECT_EQ(CheckOptionTable(table, "LONE", kParseIgnoreCase), 3);
  EXPECT_EQ(CheckOptionTable(table, "", 0), -1);
}

TEST(Strncmpci, ComparesAtMostNCharacters) {
  EXPECT_EQ(strncmpci("Query", "qUEST", 3), 0);
  EXPECT_LT(strncmpci("Query", "qUEST", 4), 0);
  EXPECT_GT(strncmpci("ab", "A", 5), 0);
  EXPECT_EQ(strncmpci("a", "A", 5), 0);
  EXPECT_EQ(strncmpci("a", "b", 0), 0);
  EXPECT_GT(strncmpci("\xE9", "z", 1), 0);  // bytes are unsigned
}

}  // namespace
}  // namespace tabulon
