// Whole reads and writes on file descriptors: short transfers and signals are dealt with here.
#pragma once

#include <sys/types.h>

#include <cstddef>

namespace tabulon {

// Reads up to `size` bytes, at the current position or at `offset`. Returns the bytes read (fewer
// than `size` only at end of file) or -1 with errno set.
ssize_t ReadFully(int fd, void* buffer, size_t size);
ssize_t ReadFullyAt(int fd, void* buffer, size_t size, off_t offset);

// Reads exactly `size` bytes at `offset`. Returns false with errno set, EIO when the file ends
// before.
bool ReadExactlyAt(int fd, void* buffer, size_t size, off_t offset);

// Writes all `size` bytes. Returns false with errno set when the file did not take them.
bool WriteFully(int fd, const void* data, size_t size);
bool WriteFullyAt(int fd, const void* data, size_t size, off_t offset);

}  // namespace tabulon
