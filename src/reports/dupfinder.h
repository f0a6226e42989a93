// The duplicate finder of one report: what the scan loop calls, and what the report reads.
#pragma once

#include <cstdint>
#include <memory>

#include "config/report.h"
#include "detail/pass.h"
#include "reports/dupcandidates.h"
#include "reports/dupdebugfiles.h"
#include "reports/dupgroups.h"

namespace tabulon {

extern DupLimits dupLimits;  // for the finders that are made next

struct DupFinder : ReportWork {
  DupFinder(const Report& report, const Scan& scan);

  std::unique_ptr<DupDebugFiles> files;  // with -z only
  DupCandidates candidates;
  DupGroups groups;
};

// Gives a duplicates report its finder, before the scan.
void NewDuplicateTree(Report& report, const Scan& scan);
// Enters records of the scan. Directories and records that the filter rejects are left out.
void CheckDuplicates(Report& report, Pass& pass);
// Makes the groups and counts the duplicates into the report, after the scan.
void DumpDuplicateTree(Report& report);

}  // namespace tabulon
