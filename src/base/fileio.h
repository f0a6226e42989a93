// File descriptors: their owner, and whole reads and writes on them.
#pragma once

#include <sys/types.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <utility>

namespace tabulon {

// Owner of a file descriptor.
class UniqueFd {
 public:
  UniqueFd() = default;
  explicit UniqueFd(int fd) : fd_(fd) {}
  UniqueFd(UniqueFd&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
  UniqueFd& operator=(UniqueFd&& other) noexcept {
    if (this != &other) {
      Reset();
      fd_ = std::exchange(other.fd_, -1);
    }
    return *this;
  }
  ~UniqueFd() { Reset(); }

  int get() const { return fd_; }
  bool valid() const { return fd_ >= 0; }
  int Release() { return std::exchange(fd_, -1); }
  // Closes the descriptor; returns close's result, 0 when there was none.
  int Reset() {
    const int fd = std::exchange(fd_, -1);
    return fd >= 0 ? close(fd) : 0;
  }

 private:
  int fd_ = -1;
};

// Reads up to `size` bytes, at the current position or at `offset`. Returns the bytes read (fewer
// than `size` only at end of file) or -1 with errno set.
ssize_t ReadFully(int fd, void* buffer, size_t size);
ssize_t ReadFullyAt(int fd, void* buffer, size_t size, off_t offset);

// Reads exactly `size` bytes at `offset`. Returns false with errno set, EIO when the file ends
// before.
bool ReadExactlyAt(int fd, void* buffer, size_t size, off_t offset);

// The size of an open file in bytes; 0 when the system does not tell.
uint64_t FileSize(int fd);

// Writes all `size` bytes. Returns false with errno set when the file did not take them.
bool WriteFully(int fd, const void* data, size_t size);
bool WriteFullyAt(int fd, const void* data, size_t size, off_t offset);

// Bytes of a file that have been written, but may not have a place on the disk yet.
struct UnplacedBytes {
  int fd = -1;
  uint64_t start = 0;
  uint64_t size = 0;
  // Has the system begin to write them to the disk (sync_file_range(2)); it does not wait for the
  // end. Nothing happens when there are none, and on file systems that cannot do so.
  void Place() const;
};

}  // namespace tabulon
