// Candidates sorted into groups of duplicates, and the groups into the order of the report.
#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "base/memory.h"
#include "base/prefetch.h"
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
  DupMember() = default;
  // `textLength`: bytes of its stored name and directory path.
  DupMember(uint64_t position, uint64_t fromDirectory, uint32_t textLength)
      : directory(fromDirectory),
        packed_(position << kLengthBits | std::min((textLength + kUnit - 1) / kUnit, kMostUnits)) {}

  // File offset of its record.
  uint64_t position() const { return packed_ >> kLengthBits; }
  // About the bytes of its stored name and directory path.
  uint64_t textLength() const { return (packed_ & kMostUnits) * kUnit; }
  uint64_t directory = 0;  // file offset of its directory's record

 private:
  // Positions have 52 bits: more than any file system allows.
  static constexpr uint32_t kLengthBits = 12;
  static constexpr uint32_t kUnit = 32;
  static constexpr uint32_t kMostUnits = (1U << kLengthBits) - 1;
  uint64_t packed_ = 0;
};
static_assert(sizeof(DupMember) == 16);

// The members of all groups, group after group. What exceeds the memory limit goes to a temporary
// file.
class DupMembers {
 public:
  explicit DupMembers(size_t limit) : recent_(limit) {}
  void Add(std::span<const DupMember> members);
  uint64_t count() const { return inFile_ + recent_.size(); }
  // Has the processor fetch a member.
  void Prefetch(uint64_t member) const {
    if (member >= inFile_) PrefetchStart(recent_.begin() + (member - inFile_));
  }
  // Appends the members [first, first + number) to `out`.
  void Read(uint64_t first, size_t number, std::vector<DupMember>& out);

 private:
  HugeArray<DupMember> recent_;
  TempFile file_;
  uint64_t inFile_ = 0;
};

// A group of files that agree in size and check fields.
struct DupGroup {
  uint64_t size;      // of each file, bytes
  uint64_t first;     // index of its first member; groups are in ascending order of their digests
  uint32_t count;     // files
  uint32_t modified;  // times of one of them; of all, if they are checked
  uint32_t created;
  uint32_t unused;
};
static_assert(sizeof(DupGroup) == 32);

// The order of the report: larger files first, then larger groups, then lower digests.
struct DupGroupOrder {
  static bool Less(const DupGroup& a, const DupGroup& b) {
    if (a.size != b.size) return a.size > b.size;
    if (a.count != b.count) return a.count > b.count;
    return a.first < b.first;
  }
  // By the magnitude of the size, in 32 steps for each power of two.
  static uint32_t Bucket(const DupGroup& group) {
    const auto bits = static_cast<uint32_t>(std::bit_width(group.size));
    const uint64_t lead = bits > 6 ? group.size >> (bits - 6) : group.size << (6 - bits);
    return kSortBuckets - 1 - (bits << 5 | static_cast<uint32_t>(lead & 31));
  }
};

struct CandidateOrder {
  static bool Less(const Candidate& a, const Candidate& b) {
    return a.digest != b.digest ? a.digest < b.digest : a.position < b.position;
  }
};

// What a report counts: the second and later files of each group within a run.
struct DupTotals {
  uint64_t files = 0;
  uint64_t bytes = 0;
  uint64_t allocated = 0;
};

// Makes groups of candidates that come in order. Each thread has its own.
class DupGrouper {
 public:
  // `files`: where the runs and groups are also written in the form that is kept; null for none.
  // `fileIncr`: the allocation unit.
  DupGrouper(DupDebugFiles* files, uint32_t fileIncr) : files_(files), fileIncr_(fileIncr) {}

  // REQUIRES: candidates come in the order of CandidateOrder.
  void Add(const Candidate& candidate);
  // The candidates to come are not equal to those added.
  void EndGroup();
  // Counts members from 0 again. REQUIRES: all that was made has been taken away.
  void Restart() { made_ = 0; }

  // What has been made and not been taken away.
  std::vector<DupGroup> groups;    // `first` counts the members made since the start
  std::vector<DupMember> members;  // of these groups, then of the one that is not ended
  DupTotals totals;

 private:
  void EndRun();
  void AddMember(const DupMember& member);

  DupDebugFiles* files_;
  uint32_t fileIncr_;
  Candidate last_{};                // added
  std::vector<DupMember> run_;      // the files of one group in one run, in file order
  std::vector<Candidate> kept_;     // the same, for files_
  std::vector<uint32_t> sequence_;  // of these files
  DupMember first_{};               // of the group, until it has a second one
  uint32_t groupCount_ = 0;         // files of the group in the runs that have ended
  uint64_t made_ = 0;               // members, over all groups
};

class DupGroups {
 public:
  // `files`: as for DupGrouper. `limit`: of a partition's candidates held in memory; twice as many
  // groups and four times as many members are.
  DupGroups(DupDebugFiles* files, size_t limit, uint32_t fileIncr)
      : files_(files),
        fileIncr_(fileIncr),
        limit_(limit),
        groups_(2 * limit, "dupsort.tmp"),
        members_(4 * limit) {}

  // Makes the groups of all candidates, and counts.
  void Make(std::vector<DigestPartitions>& found);
  const DupTotals& totals() const { return totals_; }

  // The next group in the report's order; false after the last one. Some are read ahead, so that
  // the processor can fetch their members.
  bool Next(DupGroup& group) {
    while (!over_ && read_ - taken_ < kLookAhead) {
      DupGroup& next = ahead_[read_ % kLookAhead];
      over_ = !groups_.Next(next);
      if (over_) break;
      ++read_;
      members_.Prefetch(next.first);
    }
    if (taken_ == read_) return false;
    group = ahead_[taken_++ % kLookAhead];
    return true;
  }
  DupMembers& members() { return members_; }

 private:
  void GroupLarge(const std::vector<DigestPartitions>& found, size_t partition);
  void Take(DupGrouper& from, uint64_t before);

  DupDebugFiles* files_;
  uint32_t fileIncr_;
  size_t limit_;
  SortedSpool<DupGroup, DupGroupOrder> groups_;
  DupMembers members_;
  DupTotals totals_;

  static constexpr size_t kLookAhead = 16;
  std::array<DupGroup, kLookAhead> ahead_;  // groups that are not taken yet
  size_t read_ = 0;
  size_t taken_ = 0;
  bool over_ = false;  // all groups are read
};

}  // namespace tabulon
