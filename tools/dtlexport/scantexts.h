// Texts that are the same for many rows: names of users and groups, and the fields of the scan as a
// whole.
#pragma once

#include <cstdint>
#include <string>
#include <unordered_map>

#include "detail/scan.h"
#include "tools/scanreader/escape.h"

namespace tabulon {

using IdNames = std::unordered_map<uint32_t, ExportText>;

struct ScanTexts {
  ScanTexts(const Scan& scan, ExportFormat format);

  Pool pool;      // the stored names, which those without need of escaping point to
  IdNames users;  // NFS scans only, as far as the scan knows them
  IdNames groups;
  std::string hostBytes, rootBytes;
  ExportText host, root;
};

}  // namespace tabulon
