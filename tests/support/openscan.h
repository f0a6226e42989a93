// Scans for tests: opened from bytes in memory, or made up without a file.
#pragma once

#include <sys/mman.h>

#include <stdexcept>
#include <string_view>

#include "base/fileio.h"
#include "detail/scan.h"

namespace tabulon {

// A file in memory that holds these bytes.
inline UniqueFd FileInMemory(std::string_view bytes) {
  UniqueFd file(memfd_create("test", MFD_CLOEXEC));
  if (!WriteFullyAt(file.get(), bytes.data(), bytes.size(), 0)) {
    throw std::runtime_error("no file in memory");
  }
  return file;
}

inline Scan OpenInMemory(std::string_view bytes, const ScanDemands& demands = {}) {
  return LoadScan(FileInMemory(bytes), "x.dtl", demands);
}

// An empty scan of a kind (kRootCifs, kRootNfs).
inline Scan ScanOfKind(int rootType) {
  Scan scan;
  scan.rootType = rootType;
  scan.pathSep = scan.isCifs() ? L'\\' : L'/';
  return scan;
}

}  // namespace tabulon
