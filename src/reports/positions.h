// The positions of a listing's records: gathered during the scan, by one thread or several, and
// read back in file order.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "base/spoolfile.h"

namespace tabulon {

// What a listing keeps of a matching record.
struct PositionPair {
  uint64_t record;     // file offset of the record
  uint64_t directory;  // file offset of the directory record that was current
};
static_assert(sizeof(PositionPair) == 16);

// Makes the temporary file for the positions of a report's records. When that fails it is told,
// and the report will be empty.
void CreatePositionFile(SpoolFile& positions);

class PositionStore {
 public:
  // Makes the store's temporary file as CreatePositionFile does. A store whose file could not be
  // made stays empty, and so do its parts. `staysOpen`: see SpoolFile::StayOpen.
  void Create(bool staysOpen);
  // Makes this a store that another thread fills, to be merged into `whole`. Its file is made only
  // when it holds much; if that fails, the run ends.
  void CreateAsPartOf(const PositionStore& whole, bool staysOpen);

  // REQUIRES: the records come in ascending order.
  void Append(const PositionPair& pair) {
    if (!streams_.empty()) streams_.front().spool.Append(&pair, sizeof pair);
  }
  // Takes over what `part` holds, which may lie between what this one holds.
  void Merge(PositionStore& part);
  // Ends the adding; the first record in file order is the next to be read.
  void Rewind();
  // Reads the next one; false after the last.
  bool Read(PositionPair& pair) {
    if (current_ == nullptr) return false;
    pair = current_->next;
    current_->more = current_->spool.Read(&current_->next, sizeof pair);
    if (!current_->more || current_->next.record > limit_) ChooseStream();
    return true;
  }

 private:
  // What one thread has gathered: ascending.
  struct Stream {
    SpoolFile spool;
    PositionPair next{};
    bool more = false;  // `next` has been read
  };
  void ChooseStream();

  std::vector<Stream> streams_;
  Stream* current_ = nullptr;  // the one with the first record; it goes on up to `limit_`
  uint64_t limit_ = 0;
};

}  // namespace tabulon
