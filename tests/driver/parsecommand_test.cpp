#include "driver/parsecommand.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "driver/rest.h"
#include "tests/ending.h"

namespace tabulon {
namespace {

// A command line that owns its elements, as the parser clears them.
class Arguments {
 public:
  explicit Arguments(std::vector<std::string> elements) : elements_(std::move(elements)) {
    elements_.insert(elements_.begin(), "bin\\tabulon");
    for (std::string& element : elements_) pointers_.push_back(element.data());
  }
  std::span<char*> elements() { return pointers_; }

 private:
  std::vector<std::string> elements_;
  std::vector<char*> pointers_;
};

// One line for what the parser found: "name=value" or "name" of each given option, of a repeatable
// one each value with its place on the command line, "#number" behind complete numbers, and after
// "|" the elements it left alone.
std::string Found(std::span<const CmdOption> table, Arguments& arguments) {
  std::string out;
  const auto value = [&](const auto& one) {
    if (one.value != nullptr) out.append("=").append(one.value);
    if ((one.flags & kOptCompleteNumber) != 0) out.append("#").append(std::to_string(one.number));
  };
  for (const CmdOption& row : table) {
    if (!row.Given()) continue;
    out.append(out.empty() ? "" : " ").append(row.name);
    if ((row.flags & kOptGivenWithPlus) != 0) out.append("+");
    value(row);
    for (const CmdOccurrence& one : row.list) {
      value(one);
      out.append("@").append(std::to_string(one.position));
    }
    if ((row.flags & kOptSignedNumber) != 0) out.append("s");
  }
  out.append("|");
  for (const char* element : arguments.elements().subspan(1)) {
    if (element != nullptr) out.append(element).append(";");
  }
  return out;
}

struct Parsed {
  std::vector<std::string> elements;
  std::string found;
};

// clang-format off
TEST(ParseCommandLine, FillsTheTable) {
  const Parsed rows[] = {
      {{}, "|"}, {{"a.cfg", "-p"}, "p|a.cfg;"},  // a bare word is left alone
      {{"-qf", "x"}, "qf=x|"},                   // the longest name wins
      {{"-q", "name eq x", "-dtl", ""}, "dtl=#0 q=name eq x|"}, {{"-pz"}, "z p|"},
      {{"-lpe", "L", "E"}, "l=L e=E p|"},  // letters take the followers in turn
      {{"-debug", "-5"}, "debug=-5#-5s|"}, {{"-debug", "+0x10"}, "debug=+0x10#16s|"},
      {{"-debug", "010"}, "debug=010#8|"}, {{"-debug", ""}, "debug=#0|"},
      {{"-l", "18446744073709551616"}, "l=18446744073709551616|"},  // too large, but still text
      {{"-cat", "a", "-p", "-cat", "7"}, "cat=a@1=7#7@4 p|"},
  };
  for (const Parsed& row : rows) {
    Arguments arguments(row.elements);
    const CmdOptions cmdOpts = ParseCommandLine(arguments.elements());
    EXPECT_EQ(Found(cmdOpts, arguments), row.found);
  }
}

TEST(ParseCommandLine, RefusesWithItsMessage) {
  const std::string unknown = "is an unknown option", missing = "requires an argument",
                    twice = "is a conflicting option", number = "arguments must be numeric";
  const Parsed rows[] = {
      {{"-x"}, "'-x' " + unknown}, {{"-"}, "'-' " + unknown}, {{"+p"}, "'+p' " + unknown},
      {{"-CFG", "a"}, "'-CFG' " + unknown}, {{"-?x"}, "'-?x' " + unknown},
      // Behind a letter, behind a longer name, and the same inside a cluster.
      {{"-pxy"}, "'-xy' " + unknown}, {{"-debug3"}, "'-debug3' " + unknown},
      {{"-pqvax"}, "'-pqvax' " + unknown},
      {{"-\xC3\xA9\xFF"}, "'-\xC3\xA9\xFF' " + unknown},  // bytes pass unchanged
      {{"-q", "-p"}, "'-q' " + missing}, {{"-q", "-"}, "'-q' " + missing},
      {{"-pdebug"}, "'-debug' " + missing},
      {{"-debug", "x"}, "'-debug' " + number}, {{"-debug", "3x"}, "'-debug' " + number},
      {{"-debug", "18446744073709551616"}, "'-debug' " + number}, {{"-pp"}, "'-p' " + twice},
      {{"-dtl", "a", "-dtl", "b"}, "'-dtl b' " + twice},
      {{"-l", "a", "-l"}, "'-l' " + twice},  // without its argument
  };
  for (const Parsed& row : rows) {
    Arguments arguments(row.elements);
    EXPECT_ENDS(ParseCommandLine(arguments.elements()), 1, row.found + "\n");
  }
}

// Kinds of options that the program's own table does not use.
TEST(ParseCommandLineEx, SupportsEveryKindOfRow) {
  std::vector<CmdOption> table = {
      {"n", kOptTakesArgument | kOptMayAttach}, {"size", kOptAlias, 3},
      {"only", kOptTakesArgument | kOptMustAttach | kOptTextMayFollow}, {"t", kOptTakesArgument},
      {"s", kOptPlusAllowed}, {"lone", 0}, {"x", kOptNoTextFollows}, {}};
  Arguments arguments({"-n-s", "-only=1", "2", "+s", "-size", "3", "-LONE", "-xs"});
  // The failing element is handed back.
  constexpr uint32_t kMode = kParseReturnErrors | kParseIgnoreCase;
  EXPECT_STREQ(ParseCommandLineEx(arguments.elements(), kMode, table), "-xs");
  EXPECT_EQ(Found(table, arguments), "n=-s only==1 t=3#3 s+ lone|2;");
  EXPECT_EQ(CheckOptionTable(table, "size", 0), 3);
  EXPECT_GT(strncmpci("\xE9", "z", 1), 0);  // bytes are unsigned
}
// clang-format on

}  // namespace
}  // namespace tabulon
