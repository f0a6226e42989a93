#include "tools/scanreader/queriedscan.h"

#include <utility>

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

QueriedScan::QueriedScan(const std::string& file, Scan opened)
    : name(file),
      scan(std::move(opened)),
      root(UtfOfUnits(scan.rootPath)),
      rootText(1, separator()) {}

}  // namespace tabulon
