// A scan that is open, with what its files are asked.
#pragma once

#include <optional>
#include <string>

#include "detail/scan.h"
#include "query/filterplan.h"

namespace tabulon {

// An open scan with what its files are asked.
struct QueriedScan {
  // Opens the scan and parses the query for it; failures end the run.
  QueriedScan(const std::string& name, const std::optional<std::string>& where);
  // Takes a scan that is open; all its files count.
  QueriedScan(const std::string& name, Scan opened);

  std::string name;
  Scan scan;
  std::optional<FilterPlan> plan;  // none: all files count
  std::string root;                // path of the scan's root
  std::string rootText;            // what records call it: a separator

  const FilterPlan* filter() const { return plan ? &*plan : nullptr; }
  char separator() const { return static_cast<char>(scan.pathSep); }
};

}  // namespace tabulon
