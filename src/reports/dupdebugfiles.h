// The duplicate finder's files in the form that -z keeps in the working directory: one file of
// sorted records a run ("duptemp<n>.tmp"), and the groups of all runs together ("dupmerge.tmp").
//
// clang-format off
// Every record has 56 bytes:
//   0   digest (16)
//   16  u32 sequence number within the group and run
//   20  zero (4)
//   24  u64 file size
//   32  u64 record position
//   40  u64 directory position
//   48  u32 counter
//         in a run's file, at sequence 0: the further files of the group in that run
//         in the merged file, at the first record of a group: the records of the group
//   52  zero (4)
// clang-format on
// A run's file ends with 56 bytes of 0xFF.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "base/tempfile.h"
#include "reports/dupcandidates.h"

namespace tabulon {

class DupDebugFiles {
 public:
  // Makes the file of a run that has ended and tells its name on standard output. File numbers run
  // on over all reports of the program's run.
  void NewRun();
  // Adds the files of one group in one run, in the order that `sequence` gives.
  void AddRun(std::span<const Candidate> files, std::span<const uint32_t> sequence);
  // The group added last had `count` files in all runs; a lone file is no group.
  void EndGroup(uint32_t count);
  // Ends all files.
  void Finish();

 private:
  struct Output {
    TempFile file;
    std::vector<unsigned char> pending;
  };
  void OpenMerged();
  void Append(Output& output, std::span<const unsigned char> bytes);
  void Write(Output& output);

  std::vector<Output> runs_;
  Output merged_;
  std::vector<unsigned char> group_;  // records of the current group for the merged file
};

}  // namespace tabulon
