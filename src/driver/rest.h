// Completes the module driver: looking up an option without parsing it.
#pragma once

#include <cstdint>
#include <span>

#include "driver/cmdopts.h"

namespace tabulon {

// The row that FindOption finds, or the one that it names when it is an alias. -1 = none.
int CheckOptionTable(std::span<const CmdOption> table, const char* text, uint32_t mode);

}  // namespace tabulon
