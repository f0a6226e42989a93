// The command lines of mkdtl's commands. Each function returns the options, or nothing with
// `status` set when the program is to end with it: help has been shown, or wrong usage told.
#pragma once

#include <optional>

#include "tools/common/commandline.h"
#include "tools/mkdtl/commands.h"

namespace tabulon {

extern const Companion kMkdtl;

std::optional<ScanOptions> ParseScanOptions(int argc, char** argv, int& status);
std::optional<SynthOptions> ParseSynthOptions(int argc, char** argv, int& status);

}  // namespace tabulon
