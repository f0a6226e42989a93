// The files that may be duplicates, found in three steps, each of which threads can share:
//  1. During the scan every file leaves its fingerprint and position, in partitions by fingerprint.
//  2. In each partition the files whose fingerprint is seen more than once are chosen; their
//     positions go to partitions by file position.
//  3. Their records are read again, in file order, and given digests.
// So a file that is alone costs no digest and no second look, and nothing jumps about in more
// memory than the caches hold.
#pragma once

#include <algorithm>
#include <cstdint>
#include <memory>
#include <vector>

#include "reports/dupkey.h"
#include "reports/duppartitions.h"
#include "reports/dupruns.h"
#include "reports/report.h"

namespace tabulon {

// One file that may be a duplicate.
struct Candidate {
  Digest digest;
  uint64_t position;   // file offset of its record
  uint64_t directory;  // file offset of its directory's record; 0: none
  uint64_t size;       // of the file, bytes
  uint32_t modified;
  uint32_t created;
  uint32_t textLength;  // bytes of its stored name and directory path
  uint32_t run;         // number of the run that the file was gathered in
};
static_assert(sizeof(Candidate) == 56);

// Candidates in partitions by their digests: each holds lower ones than the next. What one thread
// has found.
using DigestPartitions = DupPartitions<Candidate>;

class DupCandidates {
 public:
  // `fields`: the check fields. The scan must outlive this. `everyFile` makes every file a
  // candidate, a lone one too.
  DupCandidates(const Scan& scan, uint32_t fields, const DupLimits& limits, bool everyFile);
  ~DupCandidates();

  // Gathers the chosen records, but for directories. Returns true when a run began with one of them
  // and another one was full, as far as this one has seen the files.
  bool Gather(Pass& pass);
  // Takes over what another one gathered of other files. REQUIRES: the same fields and limits.
  void Merge(DupCandidates& part);
  // Ends the gathering. Finds the candidates with so many threads, each of which fills a set of
  // partitions.
  std::vector<DigestPartitions> Find(size_t threads);

 private:
  // From the file at `position` on, as far as this thread knows, files are in this directory.
  struct DirectoryNote {
    uint64_t position;
    uint64_t directory;
  };
  // What one thread gathers: entries by fingerprint, directories by the files' positions.
  struct Part {
    DupPartitions<uint64_t> entries;
    DupPartitions<DirectoryNote> directories;
  };
  using Positions = DupPartitions<uint64_t>;
  class Chooser;
  class Reader;

  // A gathered file in one number: its position, and above it as much of its fingerprint as there
  // is room for. The partition tells the fingerprint's highest bits.
  uint64_t EntryOf(uint64_t fingerprint, uint64_t position) const {
    return fingerprint << positionBits_ | position;
  }
  uint64_t HashIn(uint64_t entry) const { return entry >> positionBits_; }
  uint64_t PositionIn(uint64_t entry) const { return entry & ((uint64_t{1} << positionBits_) - 1); }
  size_t RangeOf(uint64_t position) const {
    return std::min(static_cast<size_t>(position >> rangeBits_), ranges_ - 1);
  }
  void NoteDirectory(uint64_t position, uint64_t directory);
  uint64_t RunsBegunWith(uint64_t files) const {
    return (files + limits_.runFiles - 1) / limits_.runFiles;
  }
  std::vector<Positions> Choose(size_t threads);

  const Scan& scan_;
  DupLimits limits_;
  bool everyFile_;
  DupKey key_;
  uint32_t positionBits_;  // of a position in the file
  uint32_t rangeBits_;     // the file is taken in ranges of 2^rangeBits_ bytes
  size_t ranges_;
  std::vector<std::unique_ptr<Part>> parts_;  // the first is this one's
  DupRuns runs_;
  uint64_t files_ = 0;      // gathered so far
  uint64_t directory_ = 0;  // the directory noted last
  uint64_t rangeEnd_ = 0;   // end of the range of the file that it was noted for
};

}  // namespace tabulon
