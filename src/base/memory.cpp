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
  void* memory = mmap(nullptr, size > 0 ? size : 1, PROT_READ | PROT_WRITE,
                      MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
  if (memory == MAP_FAILED) ErrExit(L"Insufficient memory\n");
  madvise(memory, size, MADV_HUGEPAGE);  // may fail; the array works without large pages
  return memory;
}

void ReleaseMemory(void* memory, size_t size) {
  munmap(memory, size > 0 ? size : 1);
}

}  // namespace tabulon
