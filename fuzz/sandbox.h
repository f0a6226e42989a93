// Runs the whole program in a process of its own, forked from the test, many times a second: in a
// directory of its own, with its output in memory and its use of time and heap measured.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "driver/tabulon.h"
#include "tests/support.h"

namespace tabulon {

// How one run ended.
struct Outcome {
  int status = -1;        // exit status, -1 when a signal ended it
  int signal = 0;         // that signal
  double seconds = 0;     // of processor time
  uint64_t peakHeap = 0;  // bytes that were allocated at the same time at most; 0 = not known
  std::string out;
  std::string err;

  // 0 or 1, not killed, and no message where one is due. Sanitizer reports exit with kReported.
  bool Clean() const { return status == 0 || (status == 1 && HasMessage()); }
  // What is on the error stream after the line with the time, which a run begins with.
  std::string Told() const;
  bool HasMessage() const { return !Told().empty(); }
};

// Where files are made and removed a thousand times a second: in memory when there is room, since
// disk file systems (ext4) take several times as long for that as the runs themselves.
std::filesystem::path FastDirectory();

// Contents of files by their names.
using FileMap = std::map<std::string, std::string>;
// The names under which the two differ, with a blank after each.
std::string Differences(const FileMap& a, const FileMap& b);

// The step at which a sweep over so many cases tries about `tries` of them. With TABULON_FULL in
// the environment it is 1, and the sweep tries them all.
uint64_t SweepStep(uint64_t cases, uint64_t tries);

// Exit status of a run that a sanitizer ended.
inline constexpr int kReported = 99;

class Sandbox {
 public:
  Sandbox();
  ~Sandbox();
  Sandbox(const Sandbox&) = delete;
  Sandbox& operator=(const Sandbox&) = delete;

  // Runs the program with these arguments; `prepare` is called in the child first. With `leaks`,
  // the child looks for leaks at its end, which takes longer than most runs.
  Outcome Run(const std::vector<std::string>& args, const std::function<void()>& prepare = {},
              bool leaks = false);

  // Run in two steps. REQUIRES: no run of this sandbox is on its way.
  pid_t Start(const std::vector<std::string>& args, const std::function<void()>& prepare = {},
              bool leaks = false);
  // When a signal stops the run, `whenStopped` is called, and the run goes on.
  Outcome Wait(pid_t run, const std::function<void()>& whenStopped = {});

  RunTuning tuning;  // of the runs

  const TempDir& dir() const { return dir_; }
  // The files of the directory and of those in it, by their paths from there, but for the
  // descriptors' file, which queries leave under a name of its own each time.
  FileMap Files() const;
  // Empties the directory.
  void Clear();

 private:
  [[noreturn]] void BecomeProgram(const std::vector<std::string>& args,
                                  const std::function<void()>& prepare, bool leaks);

  TempDir dir_{FastDirectory()};
  int out_;
  int err_;
  struct Shared;
  Shared* shared_;  // with the children
};

}  // namespace tabulon
