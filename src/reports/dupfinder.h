// The duplicate finder of one report: what the scan loop calls, and what the report reads.
#pragma once

#include <cstdint>
#include <memory>

#include "config/report.h"
#include "detail/recordbatch.h"
#include "reports/dupcandidates.h"
#include "reports/dupdebugfiles.h"
#include "reports/dupgroups.h"

namespace tabulon {

extern DupLimits dupLimits;  // for the finders that are made next

struct DupFinder : ReportWork {
  explicit DupFinder(const Report& report);

  std::unique_ptr<DupDebugFiles> files;  // with -z only
  DupCandidates candidates;
  DupGroups groups;
};

// Gives a duplicates report its finder, before the scan.
void NewDuplicateTree(Report& report);
// Enters records of the scan. Directories and records that the filter rejects are left out.
void CheckDuplicates(Report& report, RecordBatch& batch);
// Makes the groups and counts the duplicates into the report, after the scan.
void DumpDuplicateTree(Report& report);

}  // namespace tabulon
