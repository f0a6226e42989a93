// Memory that is there or ends the run: checked blocks.
#pragma once

#include <cstddef>
#include <cstdlib>
#include <memory>

#include "base/loganderr.h"

namespace tabulon {

struct FreeDeleter {
  void operator()(void* memory) const { std::free(memory); }
};
using Memory = std::unique_ptr<void, FreeDeleter>;

// Zero-filled memory of `size` bytes, at most 2^31 - 1. On failure the run ends with "Insufficient
// memory\n", or with "Insufficient memory: called from '%ls'\n" and the label.
Memory GetMem(size_t size, const wchar_t* label);
// GetMem with the label "tree alloc".
Memory GetTreeMem(size_t size);

// Makes every allocation of the process that fails end the run with the GetMem message (a
// std::new_handler). Called once by the driver.
void EndRunWhenMemoryIsExhausted();

}  // namespace tabulon
