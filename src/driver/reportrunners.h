// Which module writes a report, by its type.
#pragma once

#include "config/report.h"
#include "reports/summary.h"

namespace tabulon {

// Writes one report of a configuration run to its end: its QVA tag line, its text, and the closing
// of its files.
void RunReport(Report& report, const SummarySource& source);

}  // namespace tabulon
