// From names in a directory to records of files: what a thread of the walk does most of the time.
#pragma once

#include <fcntl.h>
#include <sys/stat.h>

#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include "tools/mkdtl/namelist.h"
#include "tools/scanwriter/outputfile.h"
#include "tools/scanwriter/recordbytes.h"

namespace tabulon {

// What could not be read, and the system error. The name is that in its directory.
struct ReadProblem {
  std::string name;
  int error;
};

// Some entries of a directory, in the order of their names.
struct FoundEntries {
  FileRecords files;
  std::vector<ReadProblem> problems;
  std::vector<size_t> subdirectories;  // indexes of names
};

// The owners that occur in records.
class OwnerSet {
 public:
  void Add(uint32_t uid, uint32_t gid) {
    if (last_ && lastUid_ == uid && lastGid_ == gid) return;
    last_ = true;
    lastUid_ = uid;
    lastGid_ = gid;
    uids_.insert(uid);
    gids_.insert(gid);
  }
  void Merge(const OwnerSet& other);
  const std::set<uint32_t>& uids() const { return uids_; }
  const std::set<uint32_t>& gids() const { return gids_; }

 private:
  bool last_ = false;  // the same owner comes a thousand times in a row
  uint32_t lastUid_ = 0, lastGid_ = 0;
  std::set<uint32_t> uids_, gids_;
};

// How stat(2) is asked for an entry: links are not followed, nothing is mounted for it.
inline constexpr int kStatFlags = AT_SYMLINK_NOFOLLOW | AT_NO_AUTOMOUNT;

// Sets the fields of a record that stat(2) tells. The time of creation is that of the last status
// change: NFS knows no other.
void FillRecord(RecordSpec& record, const struct stat& info);

// One thread's; its memory is used again for every entry.
class EntryReader {
 public:
  // `leftOut` are files without a record; it must outlive the reader.
  EntryReader(const RecordForm& form, const std::vector<NamedFile>& leftOut)
      : form_(form), leftOut_(leftOut) {}

  // Reads the entries names[first..last) of an open directory. Those that have vanished are not
  // there.
  FoundEntries Read(int directory, const NameList& names, size_t first, size_t last);

  const OwnerSet& owners() const { return owners_; }

 private:
  void ReadEntry(int directory, std::string_view name, size_t index, FoundEntries& found);
  void ReadTarget(int directory, std::string_view name, FoundEntries& found);
  bool IsLeftOut(const struct stat& info, std::string_view name) const;

  RecordForm form_;
  const std::vector<NamedFile>& leftOut_;
  RecordSpec record_;
  OwnerSet owners_;
};

}  // namespace tabulon
