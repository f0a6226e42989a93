#include "tools/common/commandline.h"

#include <unistd.h>

#include <cstdio>

#include "tools/common/terminaltext.h"

namespace tabulon {

const char* const kToolVersion = TOOL_VERSION;

namespace {

int ToStandardOutput(const std::string& text) {
  const bool written = std::fputs(text.c_str(), stdout) >= 0 && std::fflush(stdout) == 0;
  return written ? kExitDone : kExitFailed;
}

}  // namespace

int ShowHelp(const Companion& companion) {
  return ToStandardOutput(companion.usage);
}

int ShowVersion(const Companion& companion) {
  return ToStandardOutput(std::string(companion.name) + " " + kToolVersion + "\n");
}

int UsageError(const Companion& companion, std::string_view problem, std::string_view what) {
  const std::string name = companion.name;
  const std::string text = name + ": " + std::string(problem) + ShownOn(STDERR_FILENO, what) +
                           "\nTry '" + name + " --help'.\n";
  std::fputs(text.c_str(), stderr);
  return kExitUsage;
}

}  // namespace tabulon
