// Completion of a report once its definition is whole: defaults, checks against the kind of scan,
// and the files and stores that the scan and the writing need.
#pragma once

#include "config/report.h"
#include "detail/scan.h"

namespace tabulon {

// Completes `report`. A type or field that the scan's kind does not have, and a report file that
// cannot be made, end the run.
//
// Any number of reports fit under a small descriptor limit: a report file is made (and emptied)
// here and closed again, to be opened when the report is written. Only what is no regular file (a
// pipe, a terminal) stays open in report.stream, since a second opening could mean something else.
void InitializeReportEntry(Report& report, const Scan& scan);

}  // namespace tabulon
