#include "tools/scanwriter/packedsink.h"

#include <zlib.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <utility>

#include "detail/filecompress.h"
#include "tools/scanwriter/littlebytes.h"

namespace tabulon {
namespace {

constexpr size_t kChunk = 512 * 1024;
constexpr size_t kMostWaiting = 4;  // appended pieces; a writer's are of a megabyte
constexpr size_t kHeadAt = 7;       // after the mark, and type and length of the stored block

Bytef* Bytes(std::string_view bytes) {
  return reinterpret_cast<Bytef*>(const_cast<char*>(bytes.data()));
}

}  // namespace

PackedSink::PackedSink(DtlSink& packed, int level) : packed_(packed) {
  head_.reserve(kHeadSize);
  thread_ = std::jthread([this, level] { Run(level); });
}

PackedSink::~PackedSink() {
  {
    const std::lock_guard lock(mutex_);
    dropped_ = true;
  }
  change_.notify_all();
}

bool PackedSink::Append(std::string_view bytes) {
  const size_t toHead = std::min(kHeadSize - head_.size(), bytes.size());
  head_ += bytes.substr(0, toHead);
  bytes.remove_prefix(toHead);
  if (head_.size() == kHeadSize && !headPut_ && !PutHead()) return false;
  restSize_ += bytes.size();
  // Pieces, since zlib counts in 32 bits.
  for (; !bytes.empty(); bytes.remove_prefix(std::min(bytes.size(), 2 * kChunk))) {
    Hand(std::string(bytes.substr(0, 2 * kChunk)), false);
  }
  const std::lock_guard lock(mutex_);
  errno = error_;
  return error_ == 0;
}

bool PackedSink::Overwrite(uint64_t offset, std::string_view bytes) {
  if (offset > head_.size() || bytes.size() > head_.size() - offset) {
    errno = EINVAL;
    return false;
  }
  head_.replace(static_cast<size_t>(offset), bytes.size(), bytes);
  return true;
}

// The mark and the stored block. REQUIRES: nothing has been handed to the thread yet.
bool PackedSink::PutHead() {
  headPut_ = true;
  std::string start(kZlibMark, kZlibMark + sizeof kZlibMark);
  start += '\0';  // not the last block; stored
  Append16(start, static_cast<uint16_t>(head_.size()));
  Append16(start, static_cast<uint16_t>(~head_.size()));
  return packed_.Append(start + head_);
}

void PackedSink::Hand(std::string bytes, bool last) {
  std::unique_lock lock(mutex_);
  change_.wait(lock, [&] { return waiting_.size() < kMostWaiting || error_ != 0; });
  waiting_.push_back(std::move(bytes));
  last_ = last;
  lock.unlock();
  change_.notify_all();
}

// The next piece, and whether it is the last. False when nothing is wanted any more.
bool PackedSink::Take(std::string& bytes, bool& last) {
  std::unique_lock lock(mutex_);
  change_.wait(lock, [&] { return !waiting_.empty() || dropped_; });
  if (dropped_) return false;
  bytes = std::move(waiting_.front());
  waiting_.pop_front();
  last = last_ && waiting_.empty();
  lock.unlock();
  change_.notify_all();
  return true;
}

void PackedSink::Run(int level) {
  const int error = Compress(level);
  {
    const std::lock_guard lock(mutex_);
    error_ = error;
  }
  change_.notify_all();
}

// Returns 0, or errno of what failed.
int PackedSink::Compress(int level) {
  Deflater deflater(level);
  const auto append = [this](std::string_view packed) { return packed_.Append(packed); };
  std::string bytes;
  for (bool last = false; !last && Take(bytes, last);) {
    if (!deflater.Put(bytes, last, append)) return deflater.status() < 0 ? EIO : errno;
  }
  restCheck_ = deflater.checksum();
  return 0;
}

bool PackedSink::Finish() {
  if (!headPut_ && !PutHead()) return false;
  Hand({}, true);
  thread_.join();
  errno = error_;
  if (error_ != 0) return false;
  const uLong headCheck = adler32(1, Bytes(head_), static_cast<uInt>(head_.size()));
  const uLong check = adler32_combine(headCheck, restCheck_, static_cast<z_off_t>(restSize_));
  const std::array<char, 4> trailer = ZlibTrailer(static_cast<uint32_t>(check));
  return packed_.Append({trailer.data(), trailer.size()}) && packed_.Overwrite(kHeadAt, head_);
}

}  // namespace tabulon
