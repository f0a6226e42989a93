// The run of the program, from the command line to the exit status.
#pragma once

#include <span>

namespace tabulon {

// Runs the program. The exit status: 0 when everything was done, 1 after a fatal condition or when
// some output could not be written. arguments[0] is the program's name; elements are cleared to
// null as they are taken.
int Run(std::span<char*> arguments);

}  // namespace tabulon
