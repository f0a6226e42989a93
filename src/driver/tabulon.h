// The run of the program, from the command line to the exit status.
#pragma once

#include <span>

#include "reports/report.h"

namespace tabulon {

// What depends on the size of the scan and on the machine, and cannot be seen in what a run writes.
struct RunTuning {
  DupLimits dupLimits = {};
  PassShare share = {};
};

// Runs the program. The exit status: 0 when everything was done, 1 after a fatal condition or when
// some output could not be written. arguments[0] is the program's name; elements are cleared to
// null as they are taken. Tests give limits that make small scans spill, and have threads share
// them.
int Run(std::span<char*> arguments, const RunTuning& tuning = {});

}  // namespace tabulon
