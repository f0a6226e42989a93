// Which module writes a report, by its type.
#pragma once

#include <string_view>

#include "config/report.h"
#include "detail/dtlformat.h"

namespace tabulon {

// Writes one report of a configuration run to its end: its QVA tag line, its text, and the closing
// of its files. `dtlName` and `version` are shown by summaries.
void RunReport(Report& report, std::string_view dtlName, const VersionBlock& version);

}  // namespace tabulon
