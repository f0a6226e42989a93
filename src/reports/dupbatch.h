// The lines of the files of a duplicates report. Groups come in an order of their own, but the
// records of their files are read in file order: so a batch of groups is put together, then the
// line of every file in it is formatted, by all threads, then the lines are taken in the order of
// the groups.
#pragma once

#include <cstdint>
#include <memory>
#include <string_view>
#include <vector>

#include "base/memory.h"
#include "reports/dupgroups.h"
#include "reports/linewriter.h"
#include "reports/report.h"

namespace tabulon {

// Some members of a group that follow one another.
struct GroupPart {
  DupGroup group;
  uint32_t first;  // of them, counted in the group
  uint32_t count;
  uint32_t member;  // of the first one, counted in the batch
  bool begins() const { return first == 0; }
  bool ends() const { return first + count == group.count; }
};

class DupBatch {
 public:
  // `output`: where the report goes, as it is now. All must outlive this.
  DupBatch(ReportOutput& output, const ReportRun& run);
  ~DupBatch();

  // Batches have so many members at most (DupLimits::written), or about this many bytes of text: so
  // the file is passed over once for each batch, not once for each group, and memory stays bounded.
  // A large group is spread over several batches.
  bool full() const { return places_.full() || textLength_ >= mostText_; }
  // Adds members of the group from number `first` on; returns how many. REQUIRES: !full().
  uint32_t Add(DupGroups& groups, const DupGroup& group, uint32_t first);
  // Formats the lines of all members; with -qva, those that show a group by its first file.
  void Format();
  void Clear();

  const std::vector<GroupPart>& parts() const { return parts_; }
  // The line of a member, in the bytes of the output. Valid until the next Clear.
  std::string_view line(size_t member) const { return lines_[member]; }
  size_t members() const { return lines_.size(); }

 private:
  // A member, to be read where it is in the file.
  struct Place {
    uint64_t position;
    uint64_t directory;
    uint32_t member;
    uint32_t part;
  };
  class Formatter;
  void FormatRange(Formatter& formatter, uint64_t start, size_t first, size_t end);

  ReportOutput& output_;
  const ReportRun& run_;
  LineForm form_;
  uint64_t mostText_;  // bytes
  std::vector<GroupPart> parts_;
  std::vector<DupMember> some_;            // of the part that is added
  HugeArray<Place> places_, sparePlaces_;  // of the members
  HugeArray<std::string_view> lines_;      // by member
  uint64_t textLength_ = 0;
  std::vector<std::unique_ptr<Formatter>> formatters_;  // one for each thread
};

}  // namespace tabulon
