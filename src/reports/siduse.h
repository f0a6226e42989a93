// The SID use report: every account of a CIFS scan by class, with its uses in access control lists
// and as a file's owner.
#pragma once

#include "reports/report.h"

namespace tabulon {

std::unique_ptr<ReportAccumulator> MakeSidUse(const ReportDefinition& report, ReportRun& run);

// Writes the report from the tree of SIDs in display order.
void DisplaySidUse(ReportOutput& output, const Scan& scan);

}  // namespace tabulon
