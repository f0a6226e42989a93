// The way through a scan from directory to directory, and through the files of one.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "detail/recordbatch.h"
#include "tools/dtldiff/entry.h"
#include "tools/scanreader/queriedscan.h"
#include "tools/scanreader/toolrun.h"

namespace tabulon {

// The records of a directory that follow each other.
struct DirSection {
  uint64_t directory = kNoRecord;  // file offset of its record; kNoRecord: there is none
  uint64_t begin = 0;              // of its first record, its own included
  uint64_t end = 0;
  std::string path;  // as stored, without separators at its end
  PathDigest digest;
};

class DirWalk {
 public:
  DirWalk(const Scan& scan, const Seeds& seeds, ReadProgress& progress);

  // The next directory that has a record, or that of the files before the first one; false at the
  // end.
  bool Next(DirSection& section);
  // After Next has returned false: whether the scan has its end marker.
  bool whole() const { return reader_.atEndMarker(); }

 private:
  bool FindDirectory();
  bool Fill();

  const Seeds& seeds_;
  char separator_;
  ReadProgress& progress_;
  RecordReader reader_;
  RecordBatch batch_;
  uint64_t position_;  // after the batch
  size_t at_ = 0;      // next record of the batch
  DirSection next_;    // what Next will return, but for its end
  bool begun_ = true;  // next_ holds something
};

// Reads the files of sections, back and forth.
class DirFiles {
 public:
  DirFiles(const QueriedScan& scan, const Seeds& seeds);

  // Goes to the first file of the section, which must outlive the use.
  void Start(const DirSection& section);
  // Goes to a file of the section.
  void Seek(uint64_t position);
  // Goes to the next file.
  void Advance() { Seek(record_.view.next); }
  // Whether it is at a file, not at the end.
  bool valid() const { return valid_; }

  const RecordView& view() const { return record_.view; }
  std::string_view name() const { return name_; }
  std::string_view target() const;
  uint64_t position() const { return record_.view.position; }
  // Whether the query selects the file.
  bool Passes();
  FileEntry Entry();

 private:
  const QueriedScan& scan_;
  const Seeds& seeds_;
  RecordReader reader_;
  ScanRecord record_;
  RecordText directory_;
  const DirSection* section_ = nullptr;
  std::string_view name_;
  bool valid_ = false;
};

}  // namespace tabulon
