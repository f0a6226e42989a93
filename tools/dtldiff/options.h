// The command line of dtldiff.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "tools/common/commandline.h"

namespace tabulon {

// What became of a file, in the order in which the kinds are told.
enum class ChangeKind : uint8_t {
  kMoved,
  kAppeared,
  kVanished,
  kGrew,
  kShrank,
  kRewritten,
  kChanged
};
inline constexpr std::array<std::string_view, 7> kChangeNames = {
    "moved", "appeared", "vanished", "grew", "shrank", "rewritten", "changed"};
inline std::string_view NameOf(ChangeKind kind) {
  return kChangeNames[static_cast<size_t>(kind)];
}

enum class DiffFormat { kText, kCsv, kNdjson, kPaths0 };

struct DiffOptions {
  std::string older, scan;
  DiffFormat format = DiffFormat::kText;
  unsigned only = ~0U;  // kinds that are told: bit 1 << kind
  uint64_t top = 0;     // rows; 0: all
  std::optional<std::string> where;
  bool moves = true;
  bool metadata = false;   // tell changes of owner, mode and access time as well
  bool scanOrder = false;  // not the largest difference first
  bool summary = false;    // only the summary
  // Entries that each of the five stores of leftovers holds in memory; one of them at a time is
  // sorted, which takes its size again: 600 MB at most. Tests set it lower.
  size_t held = 1'000'000;

  bool Wants(ChangeKind kind) const { return (only >> static_cast<unsigned>(kind) & 1) != 0; }
};

extern const Companion kDtldiff;

// The exit status when the scans could not be compared.
inline constexpr int kExitTrouble = 2;

// Wrong usage, and what is asked for by --help and --version, end the run.
DiffOptions ParseDiffOptions(int argc, char** argv);

}  // namespace tabulon
