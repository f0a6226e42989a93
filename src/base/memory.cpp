#include "base/memory.h"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <new>

namespace tabulon {
namespace {

constexpr size_t kLargestBlock = std::numeric_limits<int32_t>::max();

[[noreturn]] void MemoryExhausted() {
  MemoryErrExit(nullptr);
}

}  // namespace

Memory GetMem(size_t size, const wchar_t* label) {
  Memory block(size <= kLargestBlock ? std::calloc(1, std::max<size_t>(size, 1)) : nullptr);
  if (!block) MemoryErrExit(label);
  return block;
}

Memory GetTreeMem(size_t size) {
  return GetMem(size, L"tree alloc");
}

void EndRunWhenMemoryIsExhausted() {
  std::set_new_handler(MemoryExhausted);
}

}  // namespace tabulon
