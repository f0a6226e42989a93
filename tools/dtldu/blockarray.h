// An array that grows by whole blocks: nothing is copied, and no more than a block is idle.
#pragma once

#include <cstddef>
#include <memory>
#include <vector>

namespace tabulon {

template <class T>
class BlockArray {
 public:
  // Adds entries that are as T makes them, until there are `size`.
  void GrowTo(size_t size) {
    while (blocks_.size() * kBlock < size) blocks_.push_back(std::make_unique<T[]>(kBlock));
  }
  T& operator[](size_t i) { return blocks_[i / kBlock][i % kBlock]; }
  const T& operator[](size_t i) const { return blocks_[i / kBlock][i % kBlock]; }

 private:
  static constexpr size_t kBlock = size_t{1} << 14;
  std::vector<std::unique_ptr<T[]>> blocks_;
};

}  // namespace tabulon
