// Memory that is there or ends the run: checked blocks and labelled allocations.
#pragma once

#include <cstddef>
#include <cstdlib>
#include <memory>
#include <new>

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

// While it lives, an allocation that fails throws, whatever handler was installed.
class ThrowingNew {
 public:
  ThrowingNew() : handler_(std::set_new_handler(nullptr)) {}
  ~ThrowingNew() { std::set_new_handler(handler_); }
  ThrowingNew(const ThrowingNew&) = delete;
  ThrowingNew& operator=(const ThrowingNew&) = delete;

 private:
  std::new_handler handler_;
};

// Runs `make`, which allocates and returns what it made; when memory is exhausted the run ends with
// the labelled message.
template <class Make>
auto WithMemoryLabel(const wchar_t* label, Make make) {
  try {
    const ThrowingNew throwing;
    return make();
  } catch (const std::bad_alloc&) {
    MemoryErrExit(label);
  }
}

// Makes every allocation of the process that fails end the run with the GetMem message (a
// std::new_handler). Called once by the driver.
void EndRunWhenMemoryIsExhausted();

}  // namespace tabulon
