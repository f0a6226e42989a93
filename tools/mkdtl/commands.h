// The two commands of mkdtl, which writes scan detail files: of a real directory tree, or made up.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tools/common/commandline.h"
#include "tools/scanwriter/dtlwriter.h"

namespace tabulon {

struct OutputOptions {
  std::string path;
  bool compress = false;
};

struct ScanOptions {
  std::string directory;
  unsigned jobs = 0;                         // threads; 0 = by the filesystem
  bool cross = false;                        // enter other filesystems
  std::vector<std::string> excludes = {};    // patterns of what is left out
  std::optional<std::string> tag = {};       // makes the scan one for growth collection
  std::optional<std::string> rootName = {};  // the root as reports show it, in place of its path
  std::optional<std::string> server = {};    // in place of this machine's name
  OutputOptions output;
};

struct SynthOptions {
  ScanKind kind = ScanKind::kNfs;
  uint32_t records = 0;  // directories included
  uint64_t seed = 1;
  bool distinct = false;  // each file has an extension, a user and a group of its own
  OutputOptions output;
};

// Each does its work, tells what it did or why it failed, and returns the exit status.
int RunScan(const ScanOptions& options);
int RunSynth(const SynthOptions& options);
// The scan of RunSynth to a sink; options.output is not looked at. False when the sink has failed.
bool WriteSynth(const SynthOptions& options, DtlSink& sink);

}  // namespace tabulon
