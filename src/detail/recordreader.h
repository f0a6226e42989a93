// The record stream, read through a window: large sequential blocks, records parsed in place.
// Positions that are asked for in ascending order cost one pass over the file at most.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>
#include <vector>

#include "detail/dtlformat.h"

namespace tabulon {

// Longest link target text that is kept, in bytes; what a record holds beyond it is skipped.
// (PATH_MAX is 4096.)
inline constexpr size_t kLongestTarget = size_t{1} << 20;

// A window onto a file: the bytes around the position that was asked for last.
class FileWindow {
 public:
  // `fd` must stay open while the window is used.
  explicit FileWindow(int fd);

  // Makes the bytes from `position` on available, `size` of them or as many as the file holds, and
  // returns the first; `available` tells how many stand there (it may be more than `size`).
  // Valid until the next call. REQUIRES: size <= kLargest.
  const unsigned char* At(uint64_t position, size_t size, size_t& available) {
    const uint64_t offset = position - start_;  // huge for a position before the window
    if (offset < held_ && held_ - offset >= size) {
      available = held_ - static_cast<size_t>(offset);
      return buffer_.get() + offset;
    }
    return Refill(position, size, available);
  }
  uint64_t fileSize() const { return fileSize_; }

  static constexpr size_t kBlock = 256 * 1024;
  static constexpr size_t kFirstBlock = 16 * 1024;  // after a jump; doubled while reading on
  static constexpr size_t kLargest = kLongestTarget + 256 * 1024;

 private:
  const unsigned char* Refill(uint64_t position, size_t size, size_t& available);

  int fd_;
  uint64_t fileSize_;
  std::unique_ptr<unsigned char[]> buffer_;
  size_t capacity_ = 0;
  uint64_t start_ = 0;  // file position of the buffer's first byte
  size_t held_ = 0;     // bytes in the buffer
  size_t block_ = kFirstBlock;
};

// One alternate stream of a record.
struct StreamEntry {
  std::string_view name;  // as stored; valid until the next call on the reader
  uint64_t size = 0;
};

// One record as it stands in the window. Text that the file ends before is absent or cut.
struct RecordView {
  RecordFields fields;
  std::string_view name;    // stored bytes
  std::string_view target;  // stored bytes; empty when the record has none
  bool hasTarget = false;
  uint64_t position = 0;    // file offset of the record
  uint64_t next = 0;        // file offset of the next one
  uint64_t streams = 0;     // file offset of the first alternate-stream entry
  int32_t streamCount = 0;  // entries to read; 0 = none
};

class RecordReader {
 public:
  // `withStreams`: the file's revision carries alternate-stream entries (7 or later).
  RecordReader(int fd, const RecordLayout& layout, bool withStreams)
      : window_(fd), layout_(&layout), withStreams_(withStreams) {}

  // Reads the record at `position`. False at the end marker or when the file ends inside the fixed
  // part. The view is valid until the next call on the reader.
  bool Read(uint64_t position, RecordView& view) {
    size_t available = 0;
    const unsigned char* fixed = window_.At(position, layout_->fixedSize, available);
    if (available < layout_->fixedSize || LoadU32(fixed) == kRecordEnd) {
      atEndMarker_ = available >= sizeof(uint32_t) && LoadU32(fixed) == kRecordEnd;
      return false;
    }
    view.fields = RecordFields(fixed, layout_);
    view.position = position;
    const size_t plain = size_t{layout_->fixedSize} + view.fields.nameLength();
    if (available < plain || (view.fields.flags() & kRecordHasTarget) != 0 ||
        (withStreams_ && view.fields.streamCount() >= 1)) {
      return ReadWhole(view);
    }
    view.name = {reinterpret_cast<const char*>(fixed) + layout_->fixedSize,
                 view.fields.nameLength()};
    view.target = {};
    view.hasTarget = false;
    view.streamCount = 0;
    view.next = position + plain;
    return true;
  }

  // After Read has returned false: whether it met the end marker, not the end of the file.
  bool atEndMarker() const { return atEndMarker_; }

  // Reads the alternate-stream entry at file offset `at` and moves `at` behind it. False when the
  // file ends inside the entry. Ends the life of the current view.
  bool ReadStream(uint64_t& at, StreamEntry& entry);

 private:
  bool ReadWhole(RecordView& view);

  FileWindow window_;
  const RecordLayout* layout_;
  bool withStreams_;
  bool atEndMarker_ = false;
  std::vector<unsigned char> aside_;  // fixed part and name of a record too long for the window
};

}  // namespace tabulon
