// The kinds of reports: one row each. A row has all that is known of a kind before a report of it
// is made, and what makes one.
#pragma once

#include <array>

#include "config/reportdefinition.h"

namespace tabulon {

extern const std::array<ReportKind, 26> kReportKinds;

// The row of a ReportType. REQUIRES: there is one.
const ReportKind& KindOf(uint32_t code);

}  // namespace tabulon
