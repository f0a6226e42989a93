// What runs the companions that read scans: their process, their rows, their progress.
#pragma once

#include <atomic>
#include <cstdint>
#include <string>
#include <string_view>

#include "detail/scan.h"
#include "tools/common/commandline.h"
#include "tools/common/progress.h"

namespace tabulon {

// Prepares the process (locale, signals, memory that is exhausted) and runs `run`, whose result is
// the exit status. After a fatal exit on the way, exhausted memory among them, it is `failed`; what
// ends on purpose keeps its status.
int RunTool(int argc, char** argv, int (*run)(int argc, char** argv), int failed = kExitFailed);

// Tells the wrong usage and ends the run with its status.
[[noreturn]] void EndWithUsage(const Companion& companion, std::string_view problem,
                               std::string_view what = "");
// Shows the text and ends the run.
[[noreturn]] void EndWithHelp(const Companion& companion);
[[noreturn]] void EndWithVersion(const Companion& companion);

// The name of a scan from the command line. Scans are mapped, so that standard input is none: "-"
// ends the run.
std::string ScanArgument(const Companion& companion, const char* argument);

// The number that is an option's argument; anything but decimal digits ends the run.
uint64_t NumberArgument(const Companion& companion, const char* option, std::string_view text);

// A descriptor of their own for the rows. What the program's modules say on standard output goes to
// standard error from here on: it must not come among the rows.
int TakeStandardOutput(const Companion& companion);
// Closes it. A failure ends the run like one of writing.
void CloseRows(int rows);

// File offset after the records, estimated without reading them: that of the section after them, or
// the end of the file.
uint64_t AssumedRecordsEnd(const Scan& scan);

// Ends the run when two scans are not of one kind. The names are for the message.
void RequireOneKind(const Scan& older, const std::string& olderName, const Scan& scan,
                    const std::string& name);

// Tells on a terminal how far the reading of scans is, with an estimate of the time that is left.
// Nothing is told while rows go to a terminal, too.
class ReadProgress {
 public:
  // `total`: bytes that will be read. `rows`: where rows are written meanwhile; -1: nowhere.
  ReadProgress(uint64_t total, int rows);

  // So many more bytes have been read. Cheap enough for every batch.
  void Add(uint64_t bytes) {
    done_.store(done_.load(std::memory_order_relaxed) + bytes, std::memory_order_relaxed);
  }
  void Stop() { line_.Stop(); }

 private:
  std::atomic<uint64_t> done_{0};
  ProgressLine line_;
};

}  // namespace tabulon
