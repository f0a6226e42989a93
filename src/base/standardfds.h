// The three standard descriptors of the process.
#pragma once

namespace tabulon {

// Has the null device take those standard descriptors that are closed, so that no file of the run
// gets their numbers. It is opened the wrong way round (for writing as standard input, for reading
// as the other two): what is written to a closed standard output still fails, and is told. False
// with errno set when the device cannot be opened. To be called before anything is opened.
bool HoldStandardDescriptors();

}  // namespace tabulon
