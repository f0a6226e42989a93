// The command line of dtldu.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "tools/common/commandline.h"

namespace tabulon {

enum class DuFormat { kText, kCsv, kNdjson, kNcdu };
enum class DuOrder { kBytes, kOwn, kFiles, kNewest, kOldest, kGrowth };

struct DuOptions {
  std::string scan;
  std::optional<std::string> older;
  DuFormat format = DuFormat::kText;
  DuOrder order = DuOrder::kBytes;
  uint64_t depth = 1;             // levels below the first directory
  uint64_t top = 0;               // rows; 0: all
  std::optional<uint64_t> files;  // so many files in place of directories
  std::optional<std::string> dir;
  std::optional<std::string> where;
  bool linksOnce = true;  // a file with several names has its bytes once
};

extern const Companion kDtldu;

// Wrong usage, and what is asked for by --help and --version, end the run.
DuOptions ParseDuOptions(int argc, char** argv);

}  // namespace tabulon
