#include "base/fileio.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

namespace tabulon {
namespace {

// Repeats `step(done)`, one system call, until `size` bytes have been moved, it returns 0 or it
// fails.
template <class Step>
ssize_t Repeat(size_t size, Step step) {
  size_t done = 0;
  while (done < size) {
    const ssize_t n = step(done);
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) return -1;
    if (n == 0) break;
    done += static_cast<size_t>(n);
  }
  return static_cast<ssize_t>(done);
}

// Whether all bytes have been moved; a transfer that stopped early without an error counts as
// `shortError`.
bool Whole(ssize_t done, size_t size, int shortError) {
  if (done >= 0 && static_cast<size_t>(done) < size) errno = shortError;
  return done >= 0 && static_cast<size_t>(done) == size;
}

}  // namespace

ssize_t ReadFully(int fd, void* buffer, size_t size) {
  return Repeat(
      size, [&](size_t done) { return read(fd, static_cast<char*>(buffer) + done, size - done); });
}

ssize_t ReadFullyAt(int fd, void* buffer, size_t size, off_t offset) {
  return Repeat(size, [&](size_t done) {
    return pread(fd, static_cast<char*>(buffer) + done, size - done,
                 offset + static_cast<off_t>(done));
  });
}

bool ReadExactlyAt(int fd, void* buffer, size_t size, off_t offset) {
  return Whole(ReadFullyAt(fd, buffer, size, offset), size, EIO);
}

uint64_t FileSize(int fd) {
  struct stat info {};
  return fstat(fd, &info) == 0 && info.st_size > 0 ? static_cast<uint64_t>(info.st_size) : 0;
}

bool WriteFully(int fd, const void* data, size_t size) {
  return Whole(Repeat(size,
                      [&](size_t done) {
                        return write(fd, static_cast<const char*>(data) + done, size - done);
                      }),
               size, ENOSPC);
}

bool WriteFullyAt(int fd, const void* data, size_t size, off_t offset) {
  return Whole(Repeat(size,
                      [&](size_t done) {
                        return pwrite(fd, static_cast<const char*>(data) + done, size - done,
                                      offset + static_cast<off_t>(done));
                      }),
               size, ENOSPC);
}

void UnplacedBytes::Place() const {
  if (size == 0) return;
  sync_file_range(fd, static_cast<off_t>(start), static_cast<off_t>(size), SYNC_FILE_RANGE_WRITE);
}

}  // namespace tabulon
