#include "detail/filewindow.h"

#include <fcntl.h>
#include <sys/mman.h>

#include <algorithm>
#include <csignal>

#include "base/fileio.h"
#include "base/loganderr.h"

namespace tabulon {
namespace {

// Offsets of mappings are multiples of this; all page sizes in use divide it.
constexpr uint64_t kPage = 2 * 1024 * 1024;

[[noreturn]] void EndUnreadable() {
  ErrExit(L"Error reading scan detail file\n");
}

// When the system cannot read a mapped page, the access to it raises SIGBUS, in the thread that
// makes it. The program touches such pages only while it looks at a record or maps ahead, so the
// handler may write the message like any other failure. But it ends the process: an exception could
// not leave every instruction that reads memory, such as those of memcpy.
void EndAtBusError(int /*signal*/) {
  try {
    EndUnreadable();
  } catch (const EndOfRun&) {
    EndAtOnce();
  }
}

bool EndRunOnBusErrors() {
  struct sigaction action {};
  action.sa_handler = EndAtBusError;
  sigaction(SIGBUS, &action, nullptr);
  return true;
}

}  // namespace

FileWindow::FileWindow(int fd, size_t readAtOnce)
    : fd_(fd), readAtOnce_(readAtOnce), fileSize_(FileSize(fd)) {
  static const bool prepared = EndRunOnBusErrors();
  static_cast<void>(prepared);
  posix_fadvise(fd, 0, 0, POSIX_FADV_SEQUENTIAL);
}

const unsigned char* FileWindow::Move(uint64_t position, size_t size, size_t& available) {
  if (position >= fileSize_) {
    available = 0;
    return data_;
  }
  if (readAtOnce_ > 0) {
    Read(position, size);
  } else {
    Map(position, size);
  }
  available = held_ - static_cast<size_t>(position - start_);
  return data_ + (position - start_);
}

// Maps the window at the page of `position`. The old one is given back first, so that the process
// never holds two; what is mapped again later comes from the system's page cache.
void FileWindow::Map(uint64_t position, size_t size) {
  const uint64_t start = position - position % kPage;
  const size_t wanted = std::max(kWindow, static_cast<size_t>(position - start) + size);
  const auto length = static_cast<size_t>(std::min<uint64_t>(wanted, fileSize_ - start));
  if (start_ == start && held_ == length) return;
  Unmap();
  void* mapped = mmap(nullptr, length, PROT_READ, MAP_SHARED, fd_, static_cast<off_t>(start));
  if (mapped == MAP_FAILED) PosixErrExit(0, L"Error reading scan detail file\n");
  Hold(start, mapped, length);
  mapped_ = 0;
}

void FileWindow::Read(uint64_t position, size_t size) {
  const bool holdsTheRest = position - start_ < held_ && start_ + held_ == fileSize_;
  if (holdsTheRest) return;
  const auto length =
      static_cast<size_t>(std::min<uint64_t>(std::max(size, readAtOnce_), fileSize_ - position));
  if (length > room_) {
    held_ = sure_ = room_ = 0;
    memory_ = std::make_unique_for_overwrite<unsigned char[]>(length);
    room_ = length;
  }
  const ssize_t got = ReadFullyAt(fd_, memory_.get(), length, static_cast<off_t>(position));
  if (got != static_cast<ssize_t>(length)) EndUnreadable();
  Hold(position, memory_.get(), length);
  mapped_ = length;
}

void FileWindow::Hold(uint64_t position, const void* data, size_t size) {
  data_ = static_cast<const unsigned char*>(data);
  start_ = position;
  held_ = size;
  ++moves_;
  sure_ = size >= kSurely ? size - (kSurely - 1) : 0;
}

void FileWindow::Unmap() {
  if (data_ != nullptr && readAtOnce_ == 0) munmap(const_cast<unsigned char*>(data_), held_);
  data_ = nullptr;
  held_ = sure_ = 0;
}

}  // namespace tabulon
