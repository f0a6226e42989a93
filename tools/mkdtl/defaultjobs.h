// How many threads a scan gets when the user names no number.
#pragma once

namespace tabulon {

// For the filesystem of an open directory: on a network or in user space most of the time goes by
// waiting for answers, so many threads wait at once; else two for each processor of this process.
unsigned DefaultJobs(int directory);

}  // namespace tabulon
