// A growing run of bytes that writers fill in place.
#pragma once

#include <algorithm>
#include <cstddef>
#include <memory>
#include <string_view>

namespace tabulon {

// Never shrinks: one that is cleared and filled again does not touch the allocator.
class ByteBuffer {
 public:
  // Room for `size` more bytes; Commit tells how many of them were used. Valid until the next call.
  char* Reserve(size_t size) {
    if (capacity_ - size_ < size) Grow(size);
    return bytes_.get() + size_;
  }
  void Commit(size_t size) { size_ += size; }
  void Append(std::string_view bytes) {
    std::copy(bytes.begin(), bytes.end(), Reserve(bytes.size()));
    size_ += bytes.size();
  }
  // REQUIRES: size <= size().
  void Cut(size_t size) { size_ = size; }
  void Clear() { size_ = 0; }

  char* data() { return bytes_.get(); }
  size_t size() const { return size_; }
  std::string_view view() const { return {bytes_.get(), size_}; }

 private:
  void Grow(size_t size) {
    const size_t capacity = std::max(capacity_ + size, 2 * capacity_);
    auto grown = std::make_unique_for_overwrite<char[]>(capacity);
    std::copy_n(bytes_.get(), size_, grown.get());
    bytes_ = std::move(grown);
    capacity_ = capacity;
  }

  std::unique_ptr<char[]> bytes_;
  size_t size_ = 0;
  size_t capacity_ = 0;
};

}  // namespace tabulon
