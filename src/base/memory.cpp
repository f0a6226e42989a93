#include "base/memory.h"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <utility>

namespace tabulon {
namespace {

constexpr size_t kLargestBlock = std::numeric_limits<int32_t>::max();
constexpr size_t kArenaStep = 8;
constexpr const wchar_t* kArenaLabel = L"allocate temm mem";

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

void* TempAlloc(size_t size, std::unique_ptr<ArenaBlock>& arena) {
  if (size > sizeof arena->payload) MemoryErrExit(kArenaLabel);
  const size_t raised = (size + kArenaStep - 1) / kArenaStep * kArenaStep;
  // A piece that would fill the block exactly starts a new one. Kept so.
  if (!arena || arena->nextFree + raised >= arena->end) {
    auto block = WithMemoryLabel(kArenaLabel, [] { return std::make_unique<ArenaBlock>(); });
    block->previous = std::move(arena);
    block->size = sizeof(ArenaBlock);
    block->end = std::end(block->payload);
    block->nextFree = block->payload;
    arena = std::move(block);
  }
  return std::exchange(arena->nextFree, arena->nextFree + raised);
}

void TempFree(std::unique_ptr<ArenaBlock>& arena) {
  // Block by block: leaving the chain to the owners would nest one call per block.
  while (arena) arena = std::move(arena->previous);
}

}  // namespace tabulon
