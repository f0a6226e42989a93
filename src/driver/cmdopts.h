// The program's command-line options: one table that says how each may be given and, after parsing,
// how it was.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

namespace tabulon {

// How an option may be given.
inline constexpr uint32_t kOptTakesArgument = 0x1;
inline constexpr uint32_t kOptArgumentRequired = 0x2;
inline constexpr uint32_t kOptNumeric = 0x4;          // the argument must be a number
inline constexpr uint32_t kOptPlusAllowed = 0x8;      // '+' may take the place of '-'
inline constexpr uint32_t kOptRepeatable = 0x10;      // each occurrence goes to the row's list
inline constexpr uint32_t kOptMayAttach = 0x20;       // the rest of the element may be the argument
inline constexpr uint32_t kOptMustAttach = 0x40;      // the next element is never the argument
inline constexpr uint32_t kOptTextMayFollow = 0x80;   // after a name of several letters
inline constexpr uint32_t kOptNoTextFollows = 0x100;  // after a name of one letter
inline constexpr uint32_t kOptAlias = 0x200;          // another name of the row numbered `position`

// How an option was given; set by the parser.
inline constexpr uint32_t kOptGiven = 0x10000;
inline constexpr uint32_t kOptArgumentFound = 0x20000;
inline constexpr uint32_t kOptCompleteNumber = 0x40000;  // the whole argument is a number
inline constexpr uint32_t kOptSignedNumber = 0x80000;    // it began with a sign
inline constexpr uint32_t kOptGivenWithPlus = 0x100000;

// One occurrence of a repeatable option; the fields are those of CmdOption.
struct CmdOccurrence {
  uint32_t flags = 0;
  int32_t position = -1;
  const char* value = nullptr;
  int64_t number = 0;
};

// A row of the table. Texts of the command line are looked at, not copied.
struct CmdOption {
  const char* name = nullptr;  // without its prefix character; null ends the table
  uint32_t flags = 0;
  int32_t position = -1;        // index of the element that gave the option, -1 = not given; of an
                                // alias, the row that it names
  const char* value = nullptr;  // the argument; null = none
  int64_t number = 0;           // the argument as a number, an unsigned one by its bit pattern; the
                                // number of occurrences of a repeatable option
  std::vector<CmdOccurrence> list = {};  // of a repeatable option, in command-line order

  bool Given() const { return (flags & kOptGiven) != 0; }
};

// Row numbers of CmdOptions.
enum CmdOptionIndex : uint32_t {
  kOptDtl,
  kOptCfg,
  kOptList,
  kOptErr,
  kOptRdir,
  kOptCat,
  kOptQuery,
  kOptQueryFull,
  kOptDebugFlag,
  kOptQva,
  kOptProgress,
  kOptTester,
  kOptDebug,
  kOptTempDir,
  kOptTempId,
  kOptAdsFull,
  kOptCount,
};

// The table, filled by ParseCommandLine and read by the driver.
using CmdOptions = std::array<CmdOption, kOptCount + 1>;

// The program's options, none of them given.
CmdOptions NoOptionsGiven();

}  // namespace tabulon
