#include "detail/recordreader.h"

#include <algorithm>

namespace tabulon {
namespace {

// The part [offset, offset + length) of the `available` bytes at `bytes`, as far as it is there.
std::string_view Piece(const unsigned char* bytes, size_t available, size_t offset, size_t length) {
  if (offset >= available) return {};
  return {reinterpret_cast<const char*>(bytes) + offset, std::min(length, available - offset)};
}

}  // namespace

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
