// The way through two scans side by side. Scans of one tree usually come in one order, so that most
// directories meet; one that does not waits for its partner, or goes to the leftovers at the end.
#pragma once

#include <cstdint>
#include <vector>

#include "tools/dtldiff/dirwalk.h"
#include "tools/dtldiff/leftovers.h"
#include "tools/scanreader/indextable.h"

namespace tabulon {

// Directories of one scan that wait for their partners in the other.
class WaitingDirs {
 public:
  // False when one of the same path waits already: the caller keeps it.
  bool Add(const DirSection& section);
  // Takes the directory with this digest out; false when none waits.
  bool Take(const PathDigest& digest, DirSection& section);
  bool full() const { return sections_.size() >= kMost; }
  // Calls use(section) for each that still waits, in the order of the scan, and forgets all.
  template <class Use>
  void Drain(Use&& use);

 private:
  static constexpr size_t kMost = 2'000'000;
  struct Waiting {
    PathDigest digest;
    uint64_t directory, begin, end;  // as in DirSection; end 0: it has been taken
  };
  std::vector<Waiting> sections_;
  IndexTable byDigest_;
  size_t taken_ = 0;
};

class ScanComparison {
 public:
  ScanComparison(const DiffOptions& options, const QueriedScan& older, const QueriedScan& newer,
                 Changes& changes);

  // Compares all and hands the changes on. Returns false when a scan breaks off, which has been
  // told; what was found is worth nothing then.
  bool Run();

 private:
  bool Walk(ReadProgress& progress);
  void Step(DirSection& old, DirSection& now, bool& moreOld, bool& moreNew, DirWalk& oldWalk,
            DirWalk& newWalk);
  void CompareDirs(const DirSection& old, const DirSection& now);
  void CompareHere(std::string_view directory);
  void Resync();
  void KeepOld();
  void KeepNew();
  void PairRest();
  void LeaveOld(const DirSection& section);
  void LeaveNew(const DirSection& section);
  void DrainWaiting();

  const DiffOptions& options_;
  const QueriedScan& older_;
  const QueriedScan& newer_;
  Changes& changes_;
  Seeds seeds_;
  DirFiles old_, now_;
  WaitingDirs waitingOld_, waitingNew_;
  std::vector<FileEntry> restOld_, restNew_;  // of the directories at hand
  Leftovers leftovers_;
};

}  // namespace tabulon
