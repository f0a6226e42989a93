// Memory that is there or ends the run: checked blocks, and large arrays that take from the system
// only what they use.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <memory>
#include <span>
#include <type_traits>
#include <utility>

#include "base/loganderr.h"

namespace tabulon {

struct FreeDeleter {
  void operator()(void* memory) const { std::free(memory); }
};
using Memory = std::unique_ptr<void, FreeDeleter>;

// Zero-filled memory of `size` bytes, at most 2^31 - 1. On failure the run ends with "Insufficient
// memory\n", or with "Insufficient memory: called from '%ls'\n" and the label.
Memory GetMem(size_t size, const wchar_t* label);
// GetMem with the label "tree alloc".
Memory GetTreeMem(size_t size);

// Makes every allocation of the process that fails end the run with the GetMem message (a
// std::new_handler). Called once by the driver.
void EndRunWhenMemoryIsExhausted();

// Address space for `size` bytes, zero-filled when touched; exhaustion ends the run.
void* ReserveMemory(size_t size);
void ReleaseMemory(void* memory, size_t size);

// A growing array of plain values. Its address space is reserved at once, its memory is taken from
// the system only as far as it is used. So nothing is copied while it grows, and the system can use
// large pages (2 MiB): faulting in a new small page every 4 KiB costs more than the work on
// millions of entries.
template <class T>
class HugeArray {
  static_assert(std::is_trivially_copyable_v<T>);

 public:
  HugeArray() = default;
  explicit HugeArray(size_t capacity)
      : data_(static_cast<T*>(ReserveMemory(capacity * sizeof(T)))), capacity_(capacity) {}
  HugeArray(HugeArray&& other) noexcept { *this = std::move(other); }
  HugeArray& operator=(HugeArray&& other) noexcept {
    if (this != &other) {
      Release();
      data_ = std::exchange(other.data_, nullptr);
      size_ = std::exchange(other.size_, 0);
      capacity_ = std::exchange(other.capacity_, 0);
    }
    return *this;
  }
  ~HugeArray() { Release(); }

  // REQUIRES: size() < capacity().
  void Push(const T& value) { data_[size_++] = value; }
  // As many of the values as there is room for; returns how many.
  size_t Append(std::span<const T> values) {
    const size_t count = std::min(values.size(), capacity_ - size_);
    std::copy_n(values.begin(), count, end());
    size_ += count;
    return count;
  }
  void Clear() { size_ = 0; }
  // REQUIRES: size <= capacity(). New entries are zero unless the array was larger before.
  void Resize(size_t size) { size_ = size; }
  void Release() {
    if (data_ != nullptr) ReleaseMemory(data_, capacity_ * sizeof(T));
    data_ = nullptr;
    size_ = capacity_ = 0;
  }

  T& operator[](size_t i) { return data_[i]; }
  const T& operator[](size_t i) const { return data_[i]; }
  T* begin() { return data_; }
  const T* begin() const { return data_; }
  T* end() { return data_ + size_; }
  size_t size() const { return size_; }
  size_t capacity() const { return capacity_; }
  bool full() const { return size_ == capacity_; }

 private:
  T* data_ = nullptr;
  size_t size_ = 0;
  size_t capacity_ = 0;
};

}  // namespace tabulon
