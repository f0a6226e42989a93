// A small table-driven command-line parser. Options begin with '-' (some tables allow '+'), single
// letters can be clustered ("-pz"), of several matching names the longest wins, and elements
// without a prefix are skipped without a word.
//
// Messages about a bad command line go to standard error as 8-bit text, since the logs are not open
// yet, and end the run (EndOfRun) with status 1. The help requests "-?" and "-?V" are answered here
// and end the run with status 0.
#pragma once

#include <cstdint>
#include <span>

#include "driver/cmdopts.h"

namespace tabulon {

// Parsing modes.
inline constexpr uint32_t kParseReturnErrors = 0x1;  // hand back the failing element
inline constexpr uint32_t kParseIgnoreCase = 0x2;    // in option names

// A command line on its way through the parser. argv[0] is the program's name; an element that was
// taken is cleared to null. Texts stay where they are: the table rows point to them.
struct CommandLine {
  std::span<char*> elements;
  uint32_t mode = 0;
  size_t next = 1;  // the element to process next
};

// Parses the program's command line. Errors end the run; letter case counts in names.
CmdOptions ParseCommandLine(std::span<char*> elements);

// Parses into any table that ends with a nameless row. Returns the element at which parsing failed
// (its message has been written), or null.
const char* ParseCommandLineEx(std::span<char*> elements, uint32_t mode,
                               std::span<CmdOption> table);

// Parses the next element with the arguments it takes from its followers, and moves past them.
// Returns the element when it failed, or null. REQUIRES: line.next < line.elements.size().
const char* ProcessCommandLineElement(CommandLine& line, std::span<CmdOption> table);

// FindOption: the row whose name `text` begins with; the longest name wins, and the later one of
// equally long names. ReplaceAlias: the row that an alias names, any other row itself. -1 = none.
int FindOption(std::span<const CmdOption> table, const char* text, uint32_t mode);
int ReplaceAlias(std::span<const CmdOption> table, int row);

// Compares two 8-bit texts over at most n characters, letter case ignored. n < 1: equal.
int strncmpci(const char* a, const char* b, int n);

}  // namespace tabulon
