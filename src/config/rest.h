// Completes the module config.
#pragma once

#include <cstdint>
#include <string_view>

namespace tabulon {

// SmallNumericParameter (config/parameters.h) for 64 bits; a suffix is needed.
uint64_t LargeNumericParameter(std::wstring_view key, std::wstring_view value);

}  // namespace tabulon
