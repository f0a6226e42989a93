// The records of a scan are handed on in batches of some hundred, in file order. Their bytes stay
// in the reader's window. Code that looks at one field, or at the names, of all records does so in
// a short loop. Code that needs a record as a whole calls At().
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "base/prefetch.h"
#include "detail/recordreader.h"
#include "detail/scanrecord.h"

namespace tabulon {

// A place in the record stream, with what is known there of the records before it.
struct StreamPlace {
  uint64_t position = 0;           // file offset of the next record
  uint64_t number = 0;             // of the next record among all of the scan, from 0
  uint64_t directoryPosition = 0;  // file offset of the current directory's record; 0: none yet
  std::string directory = {};      // its path, as stored
};

class RecordBatch {
 public:
  // Records at most. At some 80 bytes each, 192 take 15 KiB: they stay in the nearest cache (32 KiB
  // or more) while one filter or report after the other loops over them, and there is room for the
  // next ones, which are fetched meanwhile. More would save calls, but not reading.
  static constexpr size_t kMost = 192;

  explicit RecordBatch(const Scan& scan) : layout_(&scan.layout()) {}
  RecordBatch(const RecordBatch&) = delete;
  RecordBatch& operator=(const RecordBatch&) = delete;

  // The next batch begins at this place; the batch is empty until then. Not needed before the first
  // batch of a scan.
  void Begin(const StreamPlace& place);
  // Takes the reader's next records from `position` on, at most `most` and none that begins at
  // `stop` or after it, and moves `position` after them. False at the end of the stream. The batch
  // is valid until the next call on the reader. REQUIRES: position < stop; it is where the batch
  // before ended, or where Begin said.
  bool Fill(RecordReader& reader, uint64_t& position, size_t most = kMost,
            uint64_t stop = UINT64_MAX);

  size_t size() const { return size_; }
  // The number of the batch's first record among all records of the scan, from 0; the others
  // follow.
  uint64_t firstNumber() const { return firstNumber_; }
  // File offset of record `i`.
  uint64_t PositionOf(size_t i) const {
    return position_ + static_cast<uint64_t>(fixed_[i] - fixed_[0]);
  }
  const RecordLayout& layout() const { return *layout_; }
  // The fixed part of record `i`.
  RecordFields fields(size_t i) const { return {fixed_[i], layout_}; }
  // Has the processor fetch the bytes that come one usual batch length after record `i`: most
  // likely a record of the next batch. For a loop over all records that computes and reads little:
  // memory is idle meanwhile, and the next batch is in the cache when it is filled.
  void FetchBehind(size_t i) const { PrefetchAhead(fixed_[i], kMost * kUsualLength); }
  // The ASCII forms of the names (AsciiText), column by column, so that a test of lengths or of
  // tails loads these alone. Entries after the last record may be loaded and mean nothing.
  struct Names {
    std::array<uint8_t, kMost> other = {};  // not 0: the name has none
    std::array<uint64_t, kMost> tail = {};
    std::array<uint16_t, kMost> length = {};
  };
  // Looks at the names, and has the next batch do so while it is filled: each name is then looked
  // at while the walk waits for the next record's bytes, which costs less than a loop of its own.
  // For code that needs most of the names.
  void WantNames() {
    namesWanted_ = true;
    if (!namesKnown_) LookAtNames();
  }
  bool namesKnown() const { return namesKnown_; }
  // REQUIRES: namesKnown().
  const Names& names() const { return names_; }
  // The ASCII form of a name; empty when it has none.
  std::string_view AsciiName(size_t i) const { return {NameStart(i), names_.length[i]}; }
  // Whether kReadable bytes can be read from the start of every name.
  bool namesAreInPlace() const { return !record_.view.extended; }
  // A name that is not ASCII. It is decoded at most once, when the first report asks for it.
  const RecordText& OtherName(size_t i) const { return otherNames_[names_.other[i] - 1]; }
  // File offset of the directory record that is current at record `i`, itself included; 0 before
  // the first.
  uint64_t DirectoryPositionOf(size_t i) {
    if (!directoriesKnown_) NoteDirectories();
    return directoryOf_[i] == kNone ? directoryBeforePosition_ : PositionOf(directoryOf_[i]);
  }
  // The first eight bytes of the path of the directory that is current at record `i`, when these
  // are ASCII characters; else 0. A look that spares most records for which a path is not wanted.
  uint64_t DirectoryHead(size_t i);
  // Record `i` as a whole. Valid until the next call. Code that needs no text does without.
  const ScanRecord& At(size_t i) {
    if (i != at_) Assemble(i);
    return record_;
  }

 private:
  static_assert(kMost < 0xFF, "names that are not ASCII are numbered with a byte");
  static constexpr size_t kUsualLength = 80;  // bytes of a record with its name
  // The number of a record that is none of the batch.
  static constexpr uint16_t kNone = 0xFFFF;
  static constexpr uint16_t kUnknown = 0xFFFE;  // nor kNone

  bool FillWhole(RecordReader& reader, uint64_t& position);
  size_t LastDirectory() const;
  uint16_t DirectoryOf(size_t i);
  uint16_t SeekDirectory(size_t i);
  void NoteDirectories();
  std::string_view NameOf(size_t i) const;
  const char* NameStart(size_t i) const {
    return reinterpret_cast<const char*>(fixed_[i]) + layout_->fixedSize;
  }
  void LookAtNames();
  void LookAtName(size_t i, const RecordFields& fields);
  void NoteName(size_t i, std::string_view stored);
  void Assemble(size_t i);
  void Enter(uint16_t directory);

  const RecordLayout* layout_;
  size_t size_ = 0;
  uint64_t firstNumber_ = 0;
  uint64_t position_ = 0;  // file offset of the first record; the others follow without a gap
  std::array<const unsigned char*, kMost> fixed_;
  bool directoriesKnown_ = false;
  std::array<uint16_t, kMost> directoryOf_;  // kNone: the one before the batch
  size_t sought_ = 0;       // while they are not known: how many records have been looked at
  uint16_t found_ = kNone;  // the last directory of these
  bool namesWanted_ = false;
  bool namesKnown_ = false;
  Names names_;
  std::vector<RecordText> otherNames_;  // kept between batches, as their memory is
  uint8_t others_ = 0;

  ScanRecord record_;           // the one assembled last
  size_t at_ = kNone;           // its number
  uint16_t inside_ = kUnknown;  // its directory; kNone: the one before the batch
  RecordText directory_;
  RecordText directoryBefore_;
  uint64_t directoryBeforePosition_ = 0;
};

}  // namespace tabulon
