#include "base/hugearray.h"

#include <sys/mman.h>

#include "base/loganderr.h"

namespace tabulon {

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
