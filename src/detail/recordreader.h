// The record stream, read through a window: a part of the file is held in memory, and records are
// parsed in place. The window moves to the positions that are asked for; ascending positions
// cost one pass over the file at most.
//
// A step of the walk, mapping included, takes about 6 ns, less than one access to memory that no
// cache holds. Three tricks make that possible; each is explained where it is played:
//  - Nothing is copied by a thread that reads alone. The system's share is the mapping (22 % of the
//  time of a plain summary), so
//    the window is large (kWindow) and mapped in blocks (MapAhead).
//  - The bytes to come are fetched while the current record is looked at (kLookAhead).
//  - A record without streams and target takes one branch (RecordReader::Read, ReadAhead).
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

#include "base/prefetch.h"
#include "detail/dtlformat.h"
#include "detail/filewindow.h"
#include "detail/recordtext.h"
#include "detail/scan.h"

namespace tabulon {

// One alternate stream of a record.
struct StreamEntry {
  std::string_view name;  // as stored; valid until the next call on the reader
  uint64_t size = 0;
};

// One record, whose bytes stay in the window. Text after the end of the file is absent or cut.
struct RecordView {
  RecordFields fields;
  std::string_view name;    // stored bytes
  std::string_view target;  // stored bytes; empty when the record has none
  bool hasTarget = false;
  bool extended = false;    // not read at once: texts may be cut, nothing can be read around them
  uint64_t position = 0;    // file offset of the record
  uint64_t next = 0;        // file offset of the next one
  uint64_t streams = 0;     // file offset of the first alternate-stream entry
  int32_t streamCount = 0;  // entries to read; 0 = none

  // Makes a text of the name.
  void LookAtName(RecordText& text) const {
    // The quick look reads up to a word before the name and kReadable bytes from its start. The
    // fixed part precedes the name, and kSurely bytes are there for a record that was read at once.
    if (extended) {
      text.Assign(name);
    } else {
      text.AssignInPlace(name);
    }
  }

  void ClearExtension() {
    target = {};
    hasTarget = extended = false;
    streams = 0;
    streamCount = 0;
  }
};

class RecordReader {
 public:
  // The scan must outlive the reader.
  // `readAtOnce`: see FileWindow.
  explicit RecordReader(const Scan& scan, size_t readAtOnce = 0)
      : RecordReader(scan.dtlFile.get(), scan.layout(), scan.dtlRev7_OrHigher, readAtOnce) {}
  // `withStreams`: the file's revision carries alternate-stream entries (7 or later).
  RecordReader(int fd, const RecordLayout& layout, bool withStreams, size_t readAtOnce = 0)
      : window_(fd, readAtOnce),
        layout_(&layout),
        withStreams_(withStreams && layout.streamCount != 0) {}

  // Moves the window so that it holds the bytes [position, position + size), as far as the file has
  // them. Ends the life of the current view.
  void Hold(uint64_t position, size_t size) {
    size_t available = 0;
    window_.At(position, size, available);
  }
  // The file offset of a byte in the window where it is now.
  uint64_t PositionOf(const unsigned char* byte) const { return window_.PositionOf(byte); }

  // Reads the record at `position`. False at the end marker or when the file ends inside the fixed
  // part. The view is valid until the next call on the reader. Nearly every record is plain and
  // inside the window, and is read here; all others go to ReadWhole.
  bool Read(uint64_t position, RecordView& view) {
    const unsigned char* fixed = window_.AtOnce(position);
    if (fixed == nullptr || !IsPlain({fixed, layout_})) return ReadWhole(position, view);
    view.fields = RecordFields(fixed, layout_);
    if (view.extended) view.ClearExtension();
    const size_t nameLength = view.fields.nameLength();
    view.name = {reinterpret_cast<const char*>(fixed) + layout_->fixedSize, nameLength};
    view.position = position;
    view.next = position + layout_->fixedSize + nameLength;
    return true;
  }

  // Hands on the records from `position` on that begin before `stop`, at most `most`, and moves
  // `position` after them. Stops before a record that has streams, that is not whole in the window
  // where it is now, or that has fewer than kReadable bytes in the window from the start of its
  // name. Calls take(number, fields) for each: `fields` is valid during the call, the record's
  // bytes until the next call on the reader. Returns the number of records.
  template <class Take>
  size_t ReadAhead(uint64_t& position, uint64_t stop, size_t most, Take&& take) {
    window_.MapAhead(position);
    const size_t known = WalkedFrom(position, stop, most);
    return known > 0 ? TakeWalked(position, known, take) : Walk(position, stop, most, take);
  }

  // Does the same without a limit, and notes where the records begin. For a thread that comes back
  // to them: ReadAhead then need not wait for each record's length to find the next one.
  // REQUIRES: the window is read, not mapped.
  template <class Take>
  size_t WalkAhead(uint64_t& position, uint64_t stop, Take&& take) {
    walked_.position = position;
    walked_.moves = window_.moves();
    walked_.next = 0;
    const std::span<const unsigned char> bytes = window_.From(position);
    const size_t most = bytes.size() / layout_->fixedSize;
    if (walked_.starts.size() <= most) walked_.starts.resize(most + 1);
    uint32_t* const starts = walked_.starts.data();
    walked_.count = Walk(position, stop, most, [&](size_t i, const RecordFields& fields) {
      starts[i] = static_cast<uint32_t>(fields.bytes() - bytes.data());
      take(i, fields);
    });
    starts[walked_.count] = static_cast<uint32_t>(position - walked_.position);
    return walked_.count;
  }

  // To be called some records ahead by code that skips records: the processor's own prefetching
  // follows even steps, and cannot see where the next record begins.
  void Prefetch(uint64_t position) {
    window_.MapAhead(position);
    window_.Prefetch(position);
  }

  // After Read has returned false: whether it met the end marker, not the end of the file.
  bool atEndMarker() const { return atEndMarker_; }

  // Reads the alternate-stream entry at file offset `at` and moves `at` after it. False when the
  // file ends inside the entry. Ends the life of the current view.
  bool ReadStream(uint64_t& at, StreamEntry& entry);

 private:
  // How many bytes ahead ReadAhead has the processor fetch: about fifty records, which take longer
  // to walk (at 6 ns each) than memory takes to answer.
  static constexpr size_t kLookAhead = 4096;

  // Whether the record has neither streams nor target. The end marker is not plain: its bits are
  // all set, so it looks like a record with a target and costs no test of its own.
  bool IsPlain(const RecordFields& fields) const {
    return (fields.flags() & kRecordHasTarget) == 0 && !(withStreams_ && fields.streamCount() >= 1);
  }
  // Length of a record that is not plain, from its length without the target. SIZE_MAX, which no
  // window holds, for the end marker, a record with streams, and one whose target is cut.
  size_t LengthWithTarget(const RecordFields& fields, size_t length) const {
    const bool streams = withStreams_ && fields.streamCount() >= 1;
    if (streams || fields.flags() == kRecordEnd || fields.targetLength() > kLongestTarget) {
      return SIZE_MAX;
    }
    return length + fields.targetLength();
  }
  bool ReadWhole(uint64_t position, RecordView& view);

  // ReadAhead from record to record: each one's length leads to the next.
  template <class Take>
  size_t Walk(uint64_t& position, uint64_t stop, size_t most, Take&& take) {
    // A copy: the compiler need not load the offsets again after each write of take().
    const RecordLayout layout = *layout_;
    const std::span<const unsigned char> bytes = window_.From(position);
    const uint64_t end = position + bytes.size();
    const uint64_t beyond = end > stop ? end - stop : 0;  // bytes in the window, from `stop` on
    // What has to be left in the window where a record begins.
    const size_t least = std::max<size_t>(size_t{layout.fixedSize} + kReadable, beyond + 1);
    const unsigned char* at = bytes.data();
    size_t left = bytes.size();
    size_t count = 0;
    for (; count < most && left >= least; ++count) {
      const RecordFields fields(at, &layout);
      size_t length = size_t{layout.fixedSize} + fields.nameLength();
      if (!IsPlain(fields)) length = LengthWithTarget(fields, length);
      if (length > left) break;
      PrefetchAhead(at, kLookAhead);
      take(count, fields);
      at += length;
      left -= length;
    }
    position += bytes.size() - left;
    return count;
  }

  // Records that WalkAhead has passed.
  struct Walked {
    uint64_t position = 0;         // file offset of the first one
    uint64_t moves = 0;            // of the window, when it was there
    std::vector<uint32_t> starts;  // where each begins, from there on, and where the last one ends
    size_t count = 0;
    size_t next = 0;  // the first that ReadAhead has not handed on
  };
  // How many of those ReadAhead can hand on from `position`.
  size_t WalkedFrom(uint64_t position, uint64_t stop, size_t most) const {
    const size_t known = std::min(walked_.count - walked_.next, most);
    if (known == 0 || walked_.moves != window_.moves()) return 0;
    const uint32_t* const starts = walked_.starts.data() + walked_.next;
    const bool areNext = walked_.position + starts[0] == position;
    const bool areBefore = walked_.position + starts[known - 1] < stop;
    return areNext && areBefore ? known : 0;
  }
  template <class Take>
  size_t TakeWalked(uint64_t& position, size_t known, Take&& take) {
    const RecordLayout layout = *layout_;
    const unsigned char* const first = window_.From(position).data();
    const uint32_t* const starts = walked_.starts.data() + walked_.next;
    for (size_t i = 0; i < known; ++i) {
      const unsigned char* const at = first + (starts[i] - starts[0]);
      PrefetchAhead(at, kLookAhead);
      take(i, RecordFields(at, &layout));
    }
    walked_.next += known;
    position += starts[known] - starts[0];
    return known;
  }

  FileWindow window_;
  const RecordLayout* layout_;
  bool withStreams_;
  Walked walked_;
  bool atEndMarker_ = false;
  std::vector<unsigned char> aside_;  // fixed part and name of a record too long for the window
};

}  // namespace tabulon
