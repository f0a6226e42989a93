// Completes the module of value formatting: sizes in decimal units, and access masks, which no
// report prints.
#pragma once

#include <cstdint>
#include <string_view>

#include "reports/valueformat.h"

namespace tabulon {

// EditValue with decimal units, rounded up: "5.000mb (5,000,000)".
std::wstring_view EditValueMetric(uint64_t value, ValueText& buffer);

// A Windows access mask in the form `aclPerms` (1 simple, 2 standard, 3 hex).
std::wstring_view FormatPerms(uint32_t mask, int aclPerms, ValueText& buffer);

}  // namespace tabulon
