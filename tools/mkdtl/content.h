// What made-up files hold: extension, size and modification time, which now and then are those of
// another file, so that there are duplicates to find.
#pragma once

#include <cstdint>
#include <vector>

#include "tools/mkdtl/names.h"
#include "tools/mkdtl/random.h"

namespace tabulon {

// The time of every made-up scan, and that of its oldest files: five years before.
inline constexpr uint32_t kSynthScanTime = 1735689600;  // 2025-01-01 00:00 UTC
inline constexpr uint32_t kSynthOldest = kSynthScanTime - 5 * 365 * 86400;

struct FileContent {
  uint32_t extension = 0;
  uint32_t modified = 0;
  uint64_t size = 0;
};

class ContentMaker {
 public:
  // `records` is the number of records that the scan will have.
  ContentMaker(const NameMaker& names, uint32_t records);

  // Files of a directory are changed around the same time more often than not.
  void StartDirectory(Random& random);

  // The content of the next file; `remaining` records are still to come, itself included. About
  // 15 % of the files share theirs with at least one other.
  FileContent Draw(Random& random, uint32_t remaining);

 private:
  // A file that is still to be copied.
  struct Pending {
    FileContent content;
    uint32_t copies = 0;
  };

  FileContent DrawFresh(Random& random) const;
  FileContent DrawCopy(Random& random);

  const NameMaker& names_;
  size_t spread_;  // so many originals wait before the first is copied
  std::vector<Pending> pending_;
  uint32_t pendingCopies_ = 0;
  uint32_t directoryTime_ = kSynthOldest;
};

}  // namespace tabulon
