// The SID use report: every account of a CIFS scan by class, with its uses in access control lists
// and as a file's owner.
#pragma once

#include "config/report.h"
#include "detail/scan.h"

namespace tabulon {

// Writes the report from the tree of SIDs in display order.
void DisplaySidUse(Report& report, const Scan& scan);

}  // namespace tabulon
