// Completes the module of checked memory: an arena, which this program does not use.
#pragma once

#include <cstddef>
#include <memory>

namespace tabulon {

// Arena: blocks of 32,768 bytes from which small pieces (at most 32,736 bytes each, in multiples of
// 8) are handed out; all go at once with TempFree.
struct ArenaBlock {
  std::unique_ptr<ArenaBlock> previous;
  size_t size;  // of the whole block
  char* end;
  char* nextFree;
  alignas(8) char payload[32768 - 32];
};
static_assert(sizeof(ArenaBlock) == 32768);
void* TempAlloc(size_t size, std::unique_ptr<ArenaBlock>& arena);
void TempFree(std::unique_ptr<ArenaBlock>& arena);

}  // namespace tabulon
