// The pass over a scan that counts what is in its directories.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "query/filterplan.h"
#include "tools/dtldu/dirtree.h"
#include "tools/dtldu/hardlinks.h"
#include "tools/scanreader/toolrun.h"

namespace tabulon {

// An open scan with what its files are asked.
struct DuScan {
  // Opens the scan and parses the query for it; failures end the run.
  DuScan(const std::string& name, const std::optional<std::string>& where);

  std::string name;
  Scan scan;
  std::optional<FilterPlan> plan;  // none: all files count
  std::string root;                // path of the scan's root

  const FilterPlan* filter() const { return plan ? &*plan : nullptr; }
  char separator() const { return static_cast<char>(scan.pathSep); }
};

// Adds the files of a scan to sums number `number` of the tree. `links` is null when each name of a
// file counts. Returns false when the scan breaks off.
bool CountScan(const DuScan& scan, int number, HardLinks* links, DirTree& tree,
               ScanProgress& progress);

// Tells that a scan breaks off.
void TellBreakOff(const DuScan& scan);

}  // namespace tabulon
