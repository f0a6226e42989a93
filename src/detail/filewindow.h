// A part of a file, held in memory while it is looked at.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

#include "base/prefetch.h"

namespace tabulon {

// Longest link target text that is kept, in bytes; what a record holds beyond it is skipped.
// (PATH_MAX is 4096.)
inline constexpr size_t kLongestTarget = size_t{1} << 20;

// A window onto a file. A file that cannot be read where the window looks (an I/O error, or someone
// cuts it during the run) ends the run with its message: a window that is read like a fatal error,
// a mapped one in the handler of SIGBUS, which ends the process at once (Logs::failedStatus).
//
// A window of one thread is mapped: nothing is copied. But to unmap, the system interrupts all
// other threads of the process, on whatever processor they are. So threads that share a scan read
// their windows into memory of their own, which costs some 10 ns a record, and none waits for
// another.
class FileWindow {
 public:
  // `fd` must stay open while the window is used. `readAtOnce`: the bytes that are read when the
  // window moves; 0: it is mapped.
  explicit FileWindow(int fd, size_t readAtOnce = 0);
  ~FileWindow() { Unmap(); }
  FileWindow(const FileWindow&) = delete;
  FileWindow& operator=(const FileWindow&) = delete;

  // Makes the bytes from `position` on available, `size` of them or as many as the file holds, and
  // returns the first; `available` tells how many there are (it may be more than `size`).
  // Valid until the next call. REQUIRES: size <= kLargest.
  const unsigned char* At(uint64_t position, size_t size, size_t& available) {
    const uint64_t offset = position - start_;  // huge for a position before the window
    if (offset < held_ && held_ - offset >= size) {
      available = held_ - static_cast<size_t>(offset);
      return data_ + offset;
    }
    return Move(position, size, available);
  }
  // The bytes at `position` when the window, where it is now, holds kSurely of them or more; else
  // null. So one comparison covers all fields of the record and its name.
  const unsigned char* AtOnce(uint64_t position) const {
    const uint64_t offset = position - start_;
    return offset < sure_ ? data_ + offset : nullptr;
  }
  // The bytes from `position` to the end of the window where it is now.
  std::span<const unsigned char> From(uint64_t position) const {
    const uint64_t offset = position - start_;
    if (offset >= held_) return {};
    return {data_ + offset, held_ - static_cast<size_t>(offset)};
  }
  // The file position of a byte in the window where it is now.
  uint64_t PositionOf(const unsigned char* byte) const {
    return start_ + static_cast<uint64_t>(byte - data_);
  }
  // Has the processor fetch the start of the record at `position`, when the window holds it.
  void Prefetch(uint64_t position) const {
    const uint64_t offset = position - start_;
    if (offset < sure_) PrefetchStart(data_ + offset);
  }
  // To be called on the way through the file: has the system map the block after the one of
  // `position`, by reading a byte of it. The processor drops a prefetch of a page that is not
  // mapped yet, so without this call the first records of each block would come from memory one by
  // one. A reader that jumps over blocks does not need them mapped, so a jump maps nothing.
  void MapAhead(uint64_t position) {
    const uint64_t offset = position - start_;
    if (offset >= held_) return;
    const size_t next = NextBlock(static_cast<size_t>(offset));
    if (next < mapped_) return;
    const bool fromNear = offset < mapped_ + kMappedAtOnce;
    mapped_ = next;
    if (!fromNear || next >= held_) return;
    static_cast<void>(*static_cast<const volatile unsigned char*>(data_ + next));
    mapped_ += kMappedAtOnce;
  }
  uint64_t fileSize() const { return fileSize_; }
  // How often the window has moved. While it does not, the bytes of a window that is read stay as
  // they are, whatever happens to the file.
  uint64_t moves() const { return moves_; }

  static constexpr size_t kBlock = 256 * 1024;  // a good size for copying out of a window
  static constexpr size_t kLargest = kLongestTarget + 256 * 1024;
  // A record without streams and target is not longer.
  static constexpr size_t kSurely = 80 + 0xFFFF;

 private:
  // One mmap and one munmap for about 200,000 records, and memory that does not grow with the scan
  // (a summary takes 22 MiB for a million records and for a hundred million).
  static constexpr size_t kWindow = size_t{16} << 20;
  // When a page is touched, Linux maps the pages around it as well: a block of this size, aligned
  // in memory (the default of fault_around_bytes). So there is one page fault for 16 pages.
  static constexpr size_t kMappedAtOnce = 64 * 1024;
  // Offset of the block after the one that holds `offset`.
  size_t NextBlock(size_t offset) const {
    return offset + kMappedAtOnce - reinterpret_cast<uintptr_t>(data_ + offset) % kMappedAtOnce;
  }

  const unsigned char* Move(uint64_t position, size_t size, size_t& available);
  void Map(uint64_t position, size_t size);
  void Read(uint64_t position, size_t size);
  void Hold(uint64_t position, const void* data, size_t size);
  void Unmap();

  int fd_;
  size_t readAtOnce_;
  uint64_t fileSize_;
  const unsigned char* data_ = nullptr;
  uint64_t start_ = 0;  // file position of the window's first byte
  size_t held_ = 0;     // bytes in the window
  uint64_t moves_ = 0;
  size_t sure_ = 0;    // bytes of it that have kSurely - 1 more after them
  size_t mapped_ = 0;  // bytes of it that are mapped, as far as MapAhead knows
  std::unique_ptr<unsigned char[]> memory_;  // of a window that is read
  size_t room_ = 0;                          // its bytes
};

}  // namespace tabulon
