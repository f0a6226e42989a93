#include "driver/parsecommand.h"

#include <cctype>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <utility>

#include "base/loganderr.h"
#include "driver/showversion.h"

namespace tabulon {
namespace {

// An element of the command line while its options are taken from it.
struct Element {
  const char* text;  // all of it
  int32_t position;
  char prefix;
  const char* rest;  // what has not been taken yet
};

struct Argument {
  uint32_t flags = 0;  // 0 = none found
  const char* text = nullptr;
  int64_t number = 0;
};

bool HasPrefix(const char* text) {
  return text[0] == '-' || text[0] == '+';
}

// Tells what is wrong and, unless the mode wants errors back, ends the run. Returns false.
[[gnu::format(printf, 2, 3)]] bool CommandErr(uint32_t mode, const char* format, ...) {
  std::va_list args;
  va_start(args, format);
  const std::string message = FormattedBytes(format, args);
  va_end(args);
  ErrorConsole().WriteBytes(message);
  ErrorConsole().Flush();
  if ((mode & kParseReturnErrors) == 0) throw EndOfRun{1};
  return false;
}

// Reads all of `text` as a decimal, 0x hexadecimal or 0 octal number; empty text is 0. Returns the
// state bits, 0 when it is no complete number.
uint32_t ReadNumber(const char* text, int64_t& number) {
  char* end = nullptr;
  errno = 0;
  const bool isSigned = HasPrefix(text);
  number =
      isSigned ? std::strtoll(text, &end, 0) : static_cast<int64_t>(std::strtoull(text, &end, 0));
  if (*end != '\0' || errno == ERANGE) return 0;
  return kOptArgumentFound | kOptCompleteNumber | (isSigned ? kOptSignedNumber : 0);
}

// The argument for an option of the kind `flags`: the rest of its element or the next element,
// which is taken then.
Argument TakeArgument(CommandLine& line, Element& element, uint32_t flags) {
  const bool attached = (flags & (kOptMayAttach | kOptMustAttach)) != 0 && *element.rest != '\0';
  Argument argument;
  if (attached) {
    argument.text = element.rest;
    element.rest += std::strlen(element.rest);
  } else if ((flags & kOptMustAttach) == 0 && line.next < line.elements.size()) {
    argument.text = line.elements[line.next];
  }
  if (argument.text == nullptr) return {};
  argument.flags = ReadNumber(argument.text, argument.number);
  if (argument.flags == 0) {
    // A following element that looks like an option and is no number is one.
    if (!attached && HasPrefix(argument.text)) return {};
    argument.flags = kOptArgumentFound;
    argument.number = 0;
  }
  if (!attached) line.elements[line.next++] = nullptr;
  return argument;
}

bool CheckOccurrence(uint32_t mode, char prefix, const CmdOption& row, const Argument& argument) {
  if (row.Given() && (row.flags & kOptRepeatable) == 0) {
    if (argument.flags == 0) {
      return CommandErr(mode, "'%c%s' is a conflicting option\n", prefix, row.name);
    }
    return CommandErr(mode, "'%c%s %s' is a conflicting option\n", prefix, row.name, argument.text);
  }
  if ((row.flags & kOptArgumentRequired) != 0 && argument.flags == 0) {
    return CommandErr(mode, "'%c%s' requires an argument\n", prefix, row.name);
  }
  if ((row.flags & kOptNumeric) != 0 && (argument.flags & kOptCompleteNumber) == 0) {
    return CommandErr(mode, "'%c%s' arguments must be numeric\n", prefix, row.name);
  }
  return true;
}

void StoreOccurrence(CmdOption& row, const Element& element, const Argument& argument) {
  const uint32_t state =
      argument.flags | kOptGiven | (element.prefix == '+' ? kOptGivenWithPlus : 0);
  if ((row.flags & kOptRepeatable) != 0) {
    row.list.push_back({state, element.position, argument.text, argument.number});
    row.number = static_cast<int64_t>(row.list.size());
    row.flags |= kOptGiven;
    return;
  }
  row.flags |= state;
  row.position = element.position;
  row.value = argument.text;
  row.number = argument.number;
}

// Takes the option that `element.rest` begins with, and its argument. False when it is refused.
bool TakeOption(CommandLine& line, Element& element, std::span<CmdOption> table) {
  const int found = FindOption(table, element.rest, line.mode);
  if (found < 0) {
    return CommandErr(line.mode, "'%c%s' is an unknown option\n", element.prefix, element.rest);
  }
  const size_t length = std::strlen(table[static_cast<size_t>(found)].name);
  CmdOption& row = table[static_cast<size_t>(ReplaceAlias(table, found))];
  element.rest += length;
  const bool mayBeFollowed =
      length == 1 ? (row.flags & kOptNoTextFollows) == 0 : (row.flags & kOptTextMayFollow) != 0;
  if (*element.rest != '\0' && !mayBeFollowed) {
    return CommandErr(line.mode, "'%s' is an unknown option\n", element.text);
  }
  if (element.prefix == '+' && (row.flags & kOptPlusAllowed) == 0) {
    return CommandErr(line.mode, "'%c%s' is an unknown option\n", element.prefix, row.name);
  }
  Argument argument;
  if ((row.flags & kOptTakesArgument) != 0) argument = TakeArgument(line, element, row.flags);
  if (!CheckOccurrence(line.mode, element.prefix, row, argument)) return false;
  StoreOccurrence(row, element, argument);
  return true;
}

void AnswerHelpRequest(const char* request, const char* invocation) {
  if (std::strcmp(request, "?") == 0) ShowUsage(invocation);
  if (strncmpci(request, "?v", 3) == 0) ShowVersion(invocation);
}

}  // namespace

int FindOption(std::span<const CmdOption> table, const char* text, uint32_t mode) {
  int found = -1;
  size_t longest = 0;
  for (size_t row = 0; row < table.size() && table[row].name != nullptr; ++row) {
    const char* name = table[row].name;
    const size_t length = std::strlen(name);
    const int difference = (mode & kParseIgnoreCase) != 0
                               ? strncmpci(text, name, static_cast<int>(length))
                               : std::strncmp(text, name, length);
    if (difference == 0 && length >= longest) {
      found = static_cast<int>(row);
      longest = length;
    }
  }
  return found;
}

int ReplaceAlias(std::span<const CmdOption> table, int row) {
  if (row < 0) return -1;
  const CmdOption& option = table[static_cast<size_t>(row)];
  return (option.flags & kOptAlias) != 0 ? option.position : row;
}

CmdOptions ParseCommandLine(std::span<char*> elements) {
  CmdOptions cmdOpts = NoOptionsGiven();
  ParseCommandLineEx(elements, 0, cmdOpts);
  return cmdOpts;
}

const char* ParseCommandLineEx(std::span<char*> elements, uint32_t mode,
                               std::span<CmdOption> table) {
  CommandLine line{elements, mode};
  while (line.next < line.elements.size()) {
    const char* failed = ProcessCommandLineElement(line, table);
    if (failed != nullptr) return failed;
  }
  return nullptr;
}

const char* ProcessCommandLineElement(CommandLine& line, std::span<CmdOption> table) {
  const size_t position = line.next++;
  const char* text = line.elements[position];
  if (text == nullptr || !HasPrefix(text)) return nullptr;
  line.elements[position] = nullptr;
  AnswerHelpRequest(text + 1, line.elements[0]);
  Element element{text, static_cast<int32_t>(position), text[0], text + 1};
  do {
    if (!TakeOption(line, element, table)) return text;
  } while (*element.rest != '\0');
  return nullptr;
}

int strncmpci(const char* a, const char* b, int n) {
  for (int i = 0; i < n; ++i) {
    const int left = std::tolower(static_cast<unsigned char>(a[i]));
    const int right = std::tolower(static_cast<unsigned char>(b[i]));
    if (left != right) return left - right;
    if (left == '\0') break;
  }
  return 0;
}

}  // namespace tabulon
