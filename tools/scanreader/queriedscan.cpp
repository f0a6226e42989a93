#include "tools/scanreader/queriedscan.h"

#include "tools/scanreader/openscan.h"
#include "tools/scanreader/rootpath.h"

namespace tabulon {

QueriedScan::QueriedScan(const std::string& file, const std::optional<std::string>& where)
    : name(file),
      scan(OpenScan(file, where.has_value())),
      root(UtfOfUnits(scan.rootPath)),
      rootText(1, separator()) {
  if (where) plan.emplace(ParseWhere(where, scan), scan);
}

}  // namespace tabulon
