// The query language, from text to query: "object operator value" tests joined by "[and]" and
// "[or]", grouped with parentheses. Keywords are taken in any letter case.
#pragma once

#include <string_view>

#include "query/query.h"
#include "query/queryobjects.h"

namespace tabulon {

// Compiles a query for a scan. `scanDateRelative`: what relative dates count back from
// (query/datevalue.h). A fault ends the run with "Syntax error: ..." and the position of the
// character read last (query/tokenizer.h). The result has at least one element, and looks at `scan`
// and `classes`.
Query ParseQuery(std::wstring_view text, const Scan& scan, const Classes& classes,
                 int scanDateRelative = 1);

// Applies one finished token to an element: as its object, operator, value or connector, by what
// the element waits for.
void ProcessToken(Filter& element, std::wstring_view token, const QueryContext& context);

}  // namespace tabulon
