#include "detail/recordreader.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstring>

#include "base/fileio.h"
#include "base/loganderr.h"

namespace tabulon {
namespace {

uint64_t SizeOfFile(int fd) {
  struct stat info {};
  return fstat(fd, &info) == 0 && info.st_size > 0 ? static_cast<uint64_t>(info.st_size) : 0;
}

// The part [offset, offset + length) of the `available` bytes at `bytes`, as far as it is there.
std::string_view Piece(const unsigned char* bytes, size_t available, size_t offset, size_t length) {
  if (offset >= available) return {};
  return {reinterpret_cast<const char*>(bytes) + offset, std::min(length, available - offset)};
}

}  // namespace

FileWindow::FileWindow(int fd) : fd_(fd), fileSize_(SizeOfFile(fd)) {
  posix_fadvise(fd, 0, 0, POSIX_FADV_SEQUENTIAL);
}

const unsigned char* FileWindow::Refill(uint64_t position, size_t size, size_t& available) {
  const bool readingOn = position >= start_ && position <= start_ + held_;
  const size_t kept = readingOn ? static_cast<size_t>(start_ + held_ - position) : 0;
  block_ = readingOn ? std::min(block_ * 2, kBlock) : kFirstBlock;
  const size_t wanted = kept + std::max(block_, size > kept ? size - kept : 0);
  if (wanted > capacity_) {
    const size_t capacity = std::max(wanted, 2 * kBlock);
    auto larger = std::make_unique_for_overwrite<unsigned char[]>(capacity);
    if (kept > 0) std::memcpy(larger.get(), buffer_.get() + (position - start_), kept);
    buffer_ = std::move(larger);
    capacity_ = capacity;
  } else if (kept > 0) {
    std::memmove(buffer_.get(), buffer_.get() + (position - start_), kept);
  }
  start_ = position;
  held_ = kept;
  if (position + kept < fileSize_) {
    const ssize_t got =
        ReadFullyAt(fd_, buffer_.get() + kept, wanted - kept, static_cast<off_t>(position + kept));
    if (got < 0) PosixErrExit(0, L"Error reading scan detail file\n");
    held_ += static_cast<size_t>(got);
  }
  available = held_;
  return buffer_.get();
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

// The record has streams, a target, or less than its name in the window.
bool RecordReader::ReadWhole(RecordView& view) {
  const size_t fixedSize = layout_->fixedSize;
  const size_t nameLength = view.fields.nameLength();
  const uint64_t targetLength = view.fields.targetLength();
  view.hasTarget = (view.fields.flags() & kRecordHasTarget) != 0;
  view.streams = view.position + fixedSize + nameLength;
  view.streamCount = withStreams_ ? std::max(view.fields.streamCount(), 0) : 0;

  uint64_t behindStreams = view.streams;
  StreamEntry entry;
  for (int32_t i = 0; i < view.streamCount; ++i) {
    if (ReadStream(behindStreams, entry)) continue;
    behindStreams = std::max(behindStreams, window_.fileSize());  // nothing stands behind it
    break;
  }
  view.next = behindStreams + (view.hasTarget ? targetLength : 0);

  const auto kept =
      static_cast<size_t>(view.hasTarget ? std::min<uint64_t>(targetLength, kLongestTarget) : 0);
  const uint64_t targetOffset = behindStreams - view.position;
  size_t available = 0;
  if (targetOffset + kept <= FileWindow::kLargest) {
    const unsigned char* start =
        window_.At(view.position, static_cast<size_t>(targetOffset) + kept, available);
    view.fields = RecordFields(start, layout_);
    view.name = Piece(start, available, fixedSize, nameLength);
    view.target = Piece(start, available, static_cast<size_t>(targetOffset), kept);
    return true;
  }
  // More streams than the window holds stand between the two texts.
  const unsigned char* start = window_.At(view.position, fixedSize + nameLength, available);
  aside_.assign(start, start + std::min(available, fixedSize + nameLength));
  view.fields = RecordFields(aside_.data(), layout_);
  view.name = Piece(aside_.data(), aside_.size(), fixedSize, nameLength);
  const unsigned char* target = window_.At(behindStreams, kept, available);
  view.target = Piece(target, available, 0, kept);
  return true;
}

}  // namespace tabulon
