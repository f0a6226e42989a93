// The query language, from text to filter list: "object operator value" tests joined by "[and]" and
// "[or]", grouped with parentheses. Keywords are taken in any letter case.
#pragma once

#include <string_view>

#include "detail/scan.h"
#include "query/filter.h"

namespace tabulon {

// Compiles a query. A fault ends the run with "Syntax error: ..." and the position of the character
// read last (query/tokenizer.h). Never null.
Filter* ParseQuery(std::wstring_view text, const Scan& scan);

// Applies one finished token to an element: as its object, operator, value or connector, by what
// the element waits for.
void ProcessToken(Filter& element, std::wstring_view token, const Scan& scan);

}  // namespace tabulon
