// mkdtl: the command line.
#include <csignal>
#include <cstdio>
#include <string>
#include <string_view>

#include "base/memory.h"
#include "base/standardfds.h"
#include "base/tempfile.h"
#include "tools/common/commandline.h"
#include "tools/mkdtl/commands.h"
#include "tools/mkdtl/options.h"

namespace tabulon {
namespace {

int ScanCommand(int argc, char** argv) {
  int status = kExitUsage;
  const auto options = ParseScanOptions(argc, argv, status);
  return options ? RunScan(*options) : status;
}

int SynthCommand(int argc, char** argv) {
  int status = kExitUsage;
  const auto options = ParseSynthOptions(argc, argv, status);
  return options ? RunSynth(*options) : status;
}

struct Command {
  std::string_view name;
  int (*run)(int argc, char** argv);
};
constexpr Command kCommands[] = {{"scan", ScanCommand}, {"synth", SynthCommand}};

int Main(int argc, char** argv) {
  if (argc < 2) return UsageError(kMkdtl, "no command");
  const std::string_view name = argv[1];
  if (name == "--help" || name == "-h" || name == "help") return ShowHelp(kMkdtl);
  if (name == "--version") return ShowVersion(kMkdtl);
  EndRunWhenMemoryIsExhausted();
  RemoveTempFilesOnSignals();
  std::signal(SIGXFSZ, SIG_IGN);  // a file that grows too large fails its write instead
  for (const Command& command : kCommands) {
    if (name != command.name) continue;
    // The arguments begin after the command's name, which getopt would take for the program's.
    std::string program(kMkdtl.name);
    argv[1] = program.data();
    return command.run(argc - 1, argv + 1);
  }
  return UsageError(kMkdtl, "unknown command: ", name);
}

}  // namespace
}  // namespace tabulon

int main(int argc, char** argv) {
  // Without them, what is told would be written into the scan.
  if (!tabulon::HoldStandardDescriptors()) return tabulon::kExitFailed;
  const int status = tabulon::Main(argc, argv);
  if (std::fflush(stdout) == 0 || status != tabulon::kExitDone) return status;
  std::perror("mkdtl: cannot write the last line to standard output");
  return tabulon::kExitFailed;
}
