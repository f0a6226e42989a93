// Writes scan detail files, in the layout that detail/dtlformat.h draws. A scan is described by a
// ScanSpec. A DtlWriter streams any number of records in bounded memory; tests/support/dtlbuild.h
// makes a small file in memory.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "detail/dtlformat.h"
#include "tools/scanwriter/dtlspec.h"
#include "tools/scanwriter/recordbytes.h"

namespace tabulon {

// Where a writer puts its bytes. Each call returns false with errno set when they were not taken.
class DtlSink {
 public:
  virtual ~DtlSink() = default;
  virtual bool Append(std::string_view bytes) = 0;
  // Replaces bytes that were appended before.
  virtual bool Overwrite(uint64_t offset, std::string_view bytes) = 0;
};

// Streams a scan to a sink. The totals and the counts by kind are those of the records added:
// files are the records without the directory flag, and a directory is empty when neither a file
// nor a directory below it comes right after it (so scans that go depth first count right).
class DtlWriter {
 public:
  // `spec.records` are not looked at. `sink` must outlive the writer.
  DtlWriter(DtlSink& sink, ScanSpec spec);

  // Names and targets that a record cannot hold (65534 bytes and more) are cut.
  void Add(const RecordSpec& record);
  // Adds files that were laid out in the form form(). They belong to the directory added last.
  void AddFiles(const FileRecords& files);
  const RecordForm& form() const { return form_; }
  // Sections, tail and `adjust` may still be filled in until Finish.
  ScanSpec& spec() { return spec_; }
  // Offset at which the next record or section begins.
  uint64_t position() const { return flushed_ + buffer_.size(); }
  const LogRoot& totals() const { return root_; }
  // False when the sink has failed; errno of that failure is in error().
  bool good() const { return error_ == 0; }
  int error() const { return error_; }

  // Writes end marker, section and tail, then header, root and version block. Returns good().
  bool Finish();

 private:
  void PutHeaderStrings();
  uint32_t PutHeaderString(std::string_view text);
  void CountDirectory(const RecordSpec& record);
  void CountFiles(const FileTotals& totals);
  void PutSecuritySection();
  void PutIdSection();
  void PutBlocks();
  void Flush();

  DtlSink& sink_;
  ScanSpec spec_;
  RecordForm form_;
  LogHeader header_;
  LogRoot root_;
  std::string buffer_;
  uint64_t flushed_ = 0;
  int error_ = 0;
  std::string lastDirectory_;
  bool lastDirectoryEmpty_ = false;
};

// A SID in binary form: revision 1, the 48-bit authority, then the sub-authorities (MS-DTYP 2.4.2).
std::string BinarySid(uint64_t authority, const std::vector<uint32_t>& subAuthorities);

}  // namespace tabulon
