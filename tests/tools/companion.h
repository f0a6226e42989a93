// What the tests of companions that read scans share.
#pragma once

#include <gmock/gmock.h>

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

// Runs commands with bash in this directory, the tabulon of this build and its companions among
// them.
inline RunResult RunShell(const TempDir& dir, const std::string& commands) {
  const std::string path =
      std::filesystem::path(MkdtlPath()).parent_path().string() + ":/usr/bin:/bin";
  return RunProgram({"/bin/bash", "-o", "pipefail", "-c", commands},
                    {.env = {{"PATH", path}, {"LC_ALL", "C.UTF-8"}}, .cwd = dir.path()});
}

// Makes a file, and its directory.
inline void PutFile(const std::filesystem::path& path, std::string_view text = "") {
  std::filesystem::create_directories(path.parent_path());
  WriteFile(path, text);
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
