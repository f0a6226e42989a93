// The answers to "-?" and "-?V", on standard output.
#pragma once

namespace tabulon {

// Both print their text and end the run (EndOfRun) with status 0, or 1 when it could not be
// written. `invocation` is argv[0]; what follows its last backslash is the name shown in the hints.
[[noreturn]] void ShowUsage(const char* invocation);
[[noreturn]] void ShowVersion(const char* invocation);

}  // namespace tabulon
