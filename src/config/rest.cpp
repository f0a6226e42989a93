// Completes the module config.
#include "config/rest.h"

#include "base/loganderr.h"
#include "base/utils.h"

namespace tabulon {

uint64_t LargeNumericParameter(std::wstring_view key, std::wstring_view value) {
  const int64_t number = NumericString(value, true);
  if (number == -1) ErrExit(L"Invalid numeric argument: %ls=%ls\n", key, value);
  return static_cast<uint64_t>(number);
}

}  // namespace tabulon
