// The query language, from text to filter list: "object operator value" tests joined by "[and]" and
// "[or]", grouped with parentheses.
#pragma once

#include <string>
#include <string_view>

#include "base/format.h"
#include "query/filter.h"

namespace tabulon {

// Compiles a query. A fault ends the run with "Syntax error: ..." and the position of the character
// read last. Never null.
Filter* ParseQuery(std::wstring_view text);

}  // namespace tabulon
