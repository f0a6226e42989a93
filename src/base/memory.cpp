#include "base/memory.h"

#include <sys/mman.h>

#include <algorithm>
#include <cstdint>
#include <limits>
#include <new>

#include "base/loganderr.h"

namespace tabulon {

namespace {

constexpr size_t kLargestBlock = std::numeric_limits<int32_t>::max();

// Less than this comes from the heap: to map it would cost more.
constexpr size_t kLeastMapped = 64 * 1024;
constexpr size_t kLargePage = 2 * 1024 * 1024;

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

void* ReserveMemory(size_t size) {
  void* memory = size < kLeastMapped ? std::calloc(1, std::max<size_t>(size, 1))
                                     : mmap(nullptr, size, PROT_READ | PROT_WRITE,
                                            MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
  if (memory == nullptr || memory == MAP_FAILED) ErrExit(L"Insufficient memory\n");
  // May fail; the array works without large pages.
  if (size >= kLargePage) madvise(memory, size, MADV_HUGEPAGE);
  return memory;
}

void ReleaseMemory(void* memory, size_t size) {
  if (size < kLeastMapped) {
    std::free(memory);
  } else {
    munmap(memory, size);
  }
}

}  // namespace tabulon
