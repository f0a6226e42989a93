// Completes the module parsecommand: looking an option up without parsing, which this program does
// not do.
#pragma once

#include <cstdint>
#include <span>

#include "driver/cmdopts.h"

namespace tabulon {

// The row that FindOption finds, or the row that it stands for when it is an alias. -1 = none.
int CheckOptionTable(std::span<const CmdOption> table, const char* text, uint32_t mode);

}  // namespace tabulon
