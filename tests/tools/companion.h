// What the tests of companions that read scans share.
#pragma once

#include <gmock/gmock.h>

#include <algorithm>
#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

#include "support.h"
#include "tests/support/dtlbuild.h"

namespace tabulon {

inline std::vector<std::string> Lines(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) lines.push_back(line);
  return lines;
}

// Runs the companion of this name, which lies beside the others.
inline RunResult RunCompanion(const std::string& name, std::vector<std::string> args,
                              const RunOptions& options = {}) {
  args.insert(args.begin(), std::filesystem::path(MkdtlPath()).replace_filename(name));
  return RunProgram(args, options);
}

// Runs it and returns its output. It must end with this status and without complaint.
inline std::string OutputOf(const std::string& name, std::vector<std::string> args,
                            int status = 0) {
  const RunResult run = RunCompanion(name, std::move(args));
  EXPECT_EQ(run.status, status);
  EXPECT_EQ(run.err, "");
  return run.out;
}

}  // namespace tabulon
