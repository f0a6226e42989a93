// The two commands of mkdtl, which writes scan detail files: of a real directory tree, or made up.
#pragma once

#include <cstdint>
#include <string>

#include "tools/scanwriter/dtlwriter.h"

namespace tabulon {

inline constexpr int kExitWritten = 0;
inline constexpr int kExitFailed = 1;      // nothing was written
inline constexpr int kExitUsage = 2;       // the command line is wrong; nothing was done
inline constexpr int kExitIncomplete = 3;  // written, but parts of the tree could not be read

struct OutputOptions {
  std::string path;
  bool compress = false;
};

struct ScanOptions {
  std::string directory;
  OutputOptions output;
};

struct SynthOptions {
  ScanKind kind = ScanKind::kNfs;
  uint32_t records = 0;  // directories included
  uint64_t seed = 1;
  OutputOptions output;
};

// Each does its work, tells what it did or why it failed, and returns the exit status.
int RunScan(const ScanOptions& options);
int RunSynth(const SynthOptions& options);
// The scan of RunSynth to a sink; options.output is not looked at. False when the sink has failed.
bool WriteSynth(const SynthOptions& options, DtlSink& sink);

}  // namespace tabulon
