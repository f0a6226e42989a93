// A scan and a query on it, as the command lines of companions name them.
#pragma once

#include <optional>
#include <string>

#include "detail/scan.h"
#include "query/query.h"

namespace tabulon {

// Opens and checks a scan without touching its file. A compressed one is inflated into a temporary
// file that has no name any more. `forQueries`: queries may ask for the accounts of a CIFS scan. A
// failure ends the run.
Scan OpenScan(const std::string& name, bool forQueries);

// The query of --where; an empty one without. A fault in the query ends the run.
Query ParseWhere(const std::optional<std::string>& where, const Scan& scan);

}  // namespace tabulon
