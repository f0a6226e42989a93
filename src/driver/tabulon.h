// The run of the program, from the command line to the exit status.
#pragma once

#include <span>

#include "reports/report.h"

namespace tabulon {

// Runs the program. The exit status: 0 when everything was done, 1 after a fatal condition or when
// some output could not be written. arguments[0] is the program's name; elements are cleared to
// null as they are taken. Tests give limits that make small scans spill.
int Run(std::span<char*> arguments, const DupLimits& dupLimits = {});

}  // namespace tabulon
