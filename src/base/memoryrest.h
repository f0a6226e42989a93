// Completes the module of checked memory: an arena, which this program does not use.
#pragma once

#include <cstddef>
#include <cstdlib>
#include <memory>
#include <utility>

namespace tabulon {

// Arena: blocks of 32,768 bytes from which small pieces (at most 32,736 bytes each, in multiples of
// 8) are handed out; all go at once, with the owner of the newest block or with TempFree.
struct ArenaBlock {
  ArenaBlock* previous;  // which goes with this one
  size_t size;           // of the whole block
  char* end;
  char* nextFree;
  alignas(8) char payload[32768 - 32];
};
static_assert(sizeof(ArenaBlock) == 32768);

struct ArenaFreer {
  void operator()(ArenaBlock* block) const {
    while (block != nullptr) std::free(std::exchange(block, block->previous));
  }
};
using Arena = std::unique_ptr<ArenaBlock, ArenaFreer>;

// Exhausted memory ends the run, and so does a larger piece.
void* TempAlloc(size_t size, Arena& arena);
void TempFree(Arena& arena);

}  // namespace tabulon
