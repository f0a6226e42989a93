// What the companions' command lines have in common: help, version, and words for wrong usage.
#pragma once

#include <string>
#include <string_view>

namespace tabulon {

inline constexpr int kExitDone = 0;
inline constexpr int kExitFailed = 1;      // nothing was written, or not all
inline constexpr int kExitUsage = 2;       // the command line is wrong; nothing was done
inline constexpr int kExitIncomplete = 3;  // done, but not everything could be read

extern const char* const kToolVersion;  // that of the project: "2.2.0"

// A companion as its command line shows it.
struct Companion {
  const char* name;
  const char* usage;  // whole text of --help, with its line ends
};

// Each writes to standard output and returns the exit status.
int ShowHelp(const Companion& companion);
int ShowVersion(const Companion& companion);  // "mkdtl 2.2.0"

// Tells what is wrong and where help is, on standard error. Returns kExitUsage.
int UsageError(const Companion& companion, std::string_view problem, std::string_view what = "");

// Whether an argument means standard output. No file of that name is ever made: "./-" names one.
inline bool IsStandardOutput(std::string_view argument) {
  return argument == "-";
}

}  // namespace tabulon
