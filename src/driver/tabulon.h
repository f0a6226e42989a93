// The run of the program, from the command line to the exit status.
#pragma once

namespace tabulon {

// Runs the program and exits: 0 when everything was done, 1 after a fatal condition or when some
// output could not be written.
[[noreturn]] void RealMain(int argc, char** argv);

}  // namespace tabulon
