// Completes the module driver.
#include "driver/rest.h"

#include "driver/parsecommand.h"

namespace tabulon {

int CheckOptionTable(std::span<const CmdOption> table, const char* text, uint32_t mode) {
  return ReplaceAlias(table, FindOption(table, text, mode));
}

}  // namespace tabulon
