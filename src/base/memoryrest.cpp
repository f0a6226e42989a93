// Completes the module of checked memory.
#include "base/memoryrest.h"

#include <utility>

#include "base/memory.h"

namespace tabulon {
namespace {

constexpr size_t kArenaStep = 8;
constexpr const wchar_t* kArenaLabel = L"allocate temm mem";

}  // namespace

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
