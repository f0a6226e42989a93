// Candidates sorted into groups of duplicates, and the groups into the order of the report.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "base/memory.h"
#include "base/sortedspool.h"
#include "base/tempfile.h"
#include "reports/dupcandidates.h"

namespace tabulon {

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

class DupDebugFiles {
 public:
  // `keptFiles` numbers the files of runs, over all reports of the program's run.
  explicit DupDebugFiles(int& keptFiles) : keptFiles_(keptFiles) {}

  // Makes the file of a run that has ended and tells its name on standard output.
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

  int& keptFiles_;
  std::vector<Output> runs_;
  Output merged_;
  std::vector<unsigned char> group_;  // records of the current group for the merged file
};

// A file of a group.
struct DupMember {
  uint64_t position;    // file offset of its record
  uint64_t directory;   // file offset of its directory's record
  uint32_t textLength;  // bytes of its stored name and directory path
  uint32_t unused;
};
static_assert(sizeof(DupMember) == 24);

// The members of all groups, group after group. What exceeds the memory limit goes to a temporary
// file.
class DupMembers {
 public:
  explicit DupMembers(size_t limit) : recent_(limit) {}
  void Add(const DupMember& member);
  uint64_t count() const { return inFile_ + recent_.size(); }
  // Appends the members [first, first + number) to `out`.
  void Read(uint64_t first, size_t number, std::vector<DupMember>& out);

 private:
  HugeArray<DupMember> recent_;
  TempFile file_;
  uint64_t inFile_ = 0;
};

// A group of files that agree in size and check fields.
struct DupGroup {
  uint64_t size;   // of each file, bytes
  uint64_t first;  // index of its first member; groups are in ascending order of their digests
  uint32_t count;  // files
  uint32_t unused;
};

// The order of the report: larger files first, then larger groups, then lower digests.
struct DupGroupOrder {
  static bool Less(const DupGroup& a, const DupGroup& b) {
    if (a.size != b.size) return a.size > b.size;
    if (a.count != b.count) return a.count > b.count;
    return a.first < b.first;
  }
  static uint32_t Bucket(const DupGroup&) { return 0; }
};

struct CandidateOrder {
  static bool Less(const Candidate& a, const Candidate& b) {
    if (a.digest != b.digest) return a.digest < b.digest;
    return a.run != b.run ? a.run < b.run : a.position < b.position;
  }
  static uint32_t Bucket(const Candidate& candidate) {
    return static_cast<uint32_t>(candidate.digest.high >> 52);
  }
};

// What a report counts: the second and later files of each group within a run.
struct DupTotals {
  uint64_t files = 0;
  uint64_t bytes = 0;
  uint64_t allocated = 0;
};

class DupGroups {
 public:
  // `files`: where the runs and groups are also written in the form that is kept; null for none.
  // `limit`: candidates, groups and members, each, held in memory.
  // `fileIncr`: the allocation unit.
  DupGroups(DupDebugFiles* files, size_t limit, uint32_t fileIncr);

  void Add(const Candidate& candidate) { candidates_.Add(candidate); }
  // Ends the adding: makes the groups and counts.
  void Finish();
  const DupTotals& totals() const { return totals_; }

  // The next group in the report's order; false after the last one.
  bool Next(DupGroup& group) { return groups_.Next(group); }
  DupMembers& members() { return members_; }

 private:
  void EndRun();
  void EndGroup();
  void AddMember(const Candidate& candidate);

  DupDebugFiles* files_;
  uint32_t fileIncr_;
  SortedSpool<Candidate, CandidateOrder> candidates_;
  SortedSpool<DupGroup, DupGroupOrder> groups_;
  DupMembers members_;
  DupTotals totals_;
  std::vector<Candidate> run_;  // the files of one group in one run, in file order
  DupMember first_{};           // of the group, until it has a second one
  uint32_t groupCount_ = 0;
  uint64_t lastSize_ = 0;  // size of the group's files
};

}  // namespace tabulon
