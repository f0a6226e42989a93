// Completes the module of checked memory.
#include "base/memoryrest.h"

#include <iterator>
#include <new>
#include <utility>

#include "base/memory.h"

namespace tabulon {
namespace {

constexpr size_t kArenaStep = 8;
constexpr const wchar_t* kArenaLabel = L"allocate temm mem";

}  // namespace

void* TempAlloc(size_t size, Arena& arena) {
  if (size > sizeof arena->payload) MemoryErrExit(kArenaLabel);
  const size_t raised = (size + kArenaStep - 1) / kArenaStep * kArenaStep;
  // A piece that would fill the block exactly starts a new one. Kept so.
  if (!arena || arena->nextFree + raised >= arena->end) {
    auto* const block = new (GetMem(sizeof(ArenaBlock), kArenaLabel).release()) ArenaBlock;
    block->previous = arena.release();
    block->size = sizeof(ArenaBlock);
    block->end = std::end(block->payload);
    block->nextFree = block->payload;
    arena.reset(block);
  }
  return std::exchange(arena->nextFree, arena->nextFree + raised);
}

void TempFree(Arena& arena) {
  arena.reset();
}

}  // namespace tabulon
