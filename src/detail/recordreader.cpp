#include "detail/recordreader.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>

#include <algorithm>
#include <csignal>

#include "base/loganderr.h"

namespace tabulon {
namespace {

uint64_t SizeOfFile(int fd) {
  struct stat info {};
  return fstat(fd, &info) == 0 && info.st_size > 0 ? static_cast<uint64_t>(info.st_size) : 0;
}

// Offsets of mappings are multiples of this; all page sizes in use divide it.
constexpr uint64_t kPage = 2 * 1024 * 1024;

// When the system cannot read a mapped page, the access to it raises SIGBUS. The program touches
// such pages only while it looks at a record or maps ahead, so the handler may end the run like any
// other failure.
bool EndRunOnBusErrors() {
  struct sigaction action {};
  action.sa_handler = [](int) { ErrExit(L"Error reading scan detail file\n"); };
  action.sa_flags = SA_RESETHAND;
  sigaction(SIGBUS, &action, nullptr);
  return true;
}

// The part [offset, offset + length) of the `available` bytes at `bytes`, as far as it is there.
std::string_view Piece(const unsigned char* bytes, size_t available, size_t offset, size_t length) {
  if (offset >= available) return {};
  return {reinterpret_cast<const char*>(bytes) + offset, std::min(length, available - offset)};
}

}  // namespace

FileWindow::FileWindow(int fd) : fd_(fd), fileSize_(SizeOfFile(fd)) {
  static const bool prepared = EndRunOnBusErrors();
  static_cast<void>(prepared);
  posix_fadvise(fd, 0, 0, POSIX_FADV_SEQUENTIAL);
}

// Maps the window at the page of `position`. The old one is given back first, so that the process
// never holds two; what is mapped again later comes from the system's page cache.
const unsigned char* FileWindow::Move(uint64_t position, size_t size, size_t& available) {
  if (position >= fileSize_) {
    available = 0;
    return data_;
  }
  const uint64_t start = position - position % kPage;
  const size_t wanted = std::max(kWindow, static_cast<size_t>(position - start) + size);
  const auto length = static_cast<size_t>(std::min<uint64_t>(wanted, fileSize_ - start));
  if (start_ != start || held_ != length) {
    Unmap();
    void* mapped = mmap(nullptr, length, PROT_READ, MAP_SHARED, fd_, static_cast<off_t>(start));
    if (mapped == MAP_FAILED) PosixErrExit(0, L"Error reading scan detail file\n");
    data_ = static_cast<const unsigned char*>(mapped);
    start_ = start;
    held_ = length;
    mapped_ = 0;
    sure_ = length >= kSurely ? length - (kSurely - 1) : 0;
  }
  available = held_ - static_cast<size_t>(position - start_);
  return data_ + (position - start_);
}

void FileWindow::Unmap() {
  if (data_ != nullptr) munmap(const_cast<unsigned char*>(data_), held_);
  data_ = nullptr;
  held_ = sure_ = 0;
}

bool RecordReader::ReadStream(uint64_t& at, StreamEntry& entry) {
  size_t available = 0;
  const unsigned char* bytes = window_.At(at, sizeof(uint16_t), available);
  if (available < sizeof(uint16_t)) return false;
  const size_t nameLength = LoadU16(bytes);
  const size_t whole = nameLength + kStreamEntryOverhead;
  bytes = window_.At(at, whole, available);
  if (available < whole) return false;
  entry.name = {reinterpret_cast<const char*>(bytes) + sizeof(uint16_t), nameLength};
  entry.size = LoadU64(bytes + sizeof(uint16_t) + nameLength);
  at += whole;
  return true;
}

// For a record that has streams or a target, or that may reach beyond the window: the rare ones.
bool RecordReader::ReadWhole(uint64_t position, RecordView& view) {
  const size_t fixedSize = layout_->fixedSize;
  size_t available = 0;
  const unsigned char* fixed = window_.At(position, fixedSize, available);
  if (available < fixedSize || LoadU32(fixed) == kRecordEnd) {
    atEndMarker_ = available >= sizeof(uint32_t) && LoadU32(fixed) == kRecordEnd;
    return false;
  }
  view.fields = RecordFields(fixed, layout_);
  view.position = position;
  view.extended = true;
  const size_t nameLength = view.fields.nameLength();
  const uint64_t targetLength = view.fields.targetLength();
  view.hasTarget = (view.fields.flags() & kRecordHasTarget) != 0;
  view.streams = view.position + fixedSize + nameLength;
  view.streamCount = withStreams_ ? std::max(view.fields.streamCount(), 0) : 0;

  uint64_t behindStreams = view.streams;
  StreamEntry entry;
  for (int32_t i = 0; i < view.streamCount; ++i) {
    if (ReadStream(behindStreams, entry)) continue;
    behindStreams = std::max(behindStreams, window_.fileSize());  // the file ends among the streams
    break;
  }
  view.next = behindStreams + (view.hasTarget ? targetLength : 0);

  const auto kept =
      static_cast<size_t>(view.hasTarget ? std::min<uint64_t>(targetLength, kLongestTarget) : 0);
  const uint64_t targetOffset = behindStreams - view.position;
  if (targetOffset + kept <= FileWindow::kLargest) {
    const unsigned char* start =
        window_.At(view.position, static_cast<size_t>(targetOffset) + kept, available);
    view.fields = RecordFields(start, layout_);
    view.name = Piece(start, available, fixedSize, nameLength);
    view.target = Piece(start, available, static_cast<size_t>(targetOffset), kept);
    return true;
  }
  // Between the name and the target there are more streams than the window holds.
  const unsigned char* start = window_.At(view.position, fixedSize + nameLength, available);
  aside_.assign(start, start + std::min(available, fixedSize + nameLength));
  view.fields = RecordFields(aside_.data(), layout_);
  view.name = Piece(aside_.data(), aside_.size(), fixedSize, nameLength);
  const unsigned char* target = window_.At(behindStreams, kept, available);
  view.target = Piece(target, available, 0, kept);
  return true;
}

}  // namespace tabulon
