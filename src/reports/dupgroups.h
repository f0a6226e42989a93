// Candidates sorted into groups of duplicates, and the groups into the order of the report.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "base/hugearray.h"
#include "base/sortedspool.h"
#include "base/tempfile.h"
#include "reports/dupcandidates.h"
#include "reports/dupdebugfiles.h"

namespace tabulon {

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
  uint64_t first;  // index of its first member; groups stand in ascending order of their digests
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
  DupGroups(DupDebugFiles* files, size_t limit);

  void Add(const Candidate& candidate) { candidates_.Add(candidate); }
  // Ends the adding: makes the groups and counts.
  void Finish();
  const DupTotals& totals() const { return totals_; }

  // The next group in the report's order; false behind the last one.
  bool Next(DupGroup& group) { return groups_.Next(group); }
  DupMembers& members() { return members_; }

 private:
  void EndRun();
  void EndGroup();
  void AddMember(const Candidate& candidate);

  DupDebugFiles* files_;
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
