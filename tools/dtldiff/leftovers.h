// Files that have no partner in the same place of the other scan. At the end they are paired by
// their paths, wherever these are in the scans; the rest is paired by what a moved file keeps.
// Entries beyond a limit of memory go to temporary files.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "base/sortedspool.h"
#include "tools/dtldiff/changes.h"
#include "tools/dtldiff/entry.h"

namespace tabulon {

// A change that was found after the walk through the scans, or apart from it.
struct LateChange {
  ChangeKind kind;
  uint64_t before, after;
  FilePlace old, now;
};

class Leftovers {
 public:
  Leftovers(const DiffOptions& options, bool cifs, Changes& changes);

  void AddOld(const FileEntry& entry) { old_.Add(entry); }
  void AddNew(const FileEntry& entry) { now_.Add(entry); }
  // Two entries of one path: takes the change, if there is one.
  void Pair(const FileEntry& old, const FileEntry& now);

  // Finds out what became of all. The changes come in the order of the newer scan; the files that
  // vanished come after them, in the order of the older scan.
  void Finish();

 private:
  struct ByPath {
    static bool Less(const FileEntry& a, const FileEntry& b) {
      return a.path != b.path ? a.path < b.path : a.place.file < b.place.file;
    }
    static uint32_t Bucket(const FileEntry& e) { return static_cast<uint32_t>(e.path.first >> 52); }
  };
  struct ByMove {
    static bool Less(const FileEntry& a, const FileEntry& b) {
      return a.moveKey != b.moveKey ? a.moveKey < b.moveKey : a.place.file < b.place.file;
    }
    static uint32_t Bucket(const FileEntry& e) { return static_cast<uint32_t>(e.moveKey >> 52); }
  };
  struct ByPlace {
    static bool Less(const LateChange& a, const LateChange& b) {
      return a.now.file != b.now.file ? a.now.file < b.now.file : a.old.file < b.old.file;
    }
    static uint32_t Bucket(const LateChange&) { return 0; }
  };
  using Group = std::vector<FileEntry>;

  void PairByPath();
  void PairByMove();
  void Resolve(Group& old, Group& now);
  bool OrderByPath(Group& group, RecordPaths& paths);
  void Vanished(const FileEntry& entry);
  void Appeared(const FileEntry& entry);
  void Moved(const FileEntry& old, const FileEntry& now);

  const DiffOptions& options_;
  bool cifs_;
  Changes& changes_;
  SortedSpool<FileEntry, ByPath> old_, now_;
  SortedSpool<FileEntry, ByMove> vanished_, appeared_;
  SortedSpool<LateChange, ByPlace> late_;
};

}  // namespace tabulon
