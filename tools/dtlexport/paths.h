// Paths for other programs to open, in the bytes that the scan stores. A scan is a file like any
// other: its paths must not lead those programs out of the tree that was scanned.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "detail/scan.h"
#include "detail/scanrecord.h"

namespace tabulon {

// The path of a record. `directory` ends in a separator unless `name` is empty.
struct ScanPath {
  std::string_view directory;
  std::string_view name;
  // Why the path may lead elsewhere and must not be used; null: it leads below the root.
  const char* fault = nullptr;
};

class PathFinder {
 public:
  // `root` is put before all paths. It must outlive the finder.
  PathFinder(const Scan& scan, std::string_view root)
      : separator_(static_cast<char>(scan.pathSep)), root_(root) {}

  // The path of a record and the stored path of the directory that it is in, or that it is. Valid
  // until the next call. The path of a directory is put together once, not for each file in it.
  ScanPath Find(const ScanRecord& record, std::string_view directory);

 private:
  void UseDirectory(std::string_view directory);

  char separator_;
  std::string_view root_;
  std::string path_;                  // of the directory
  size_t length_ = 0;                 // of it without a separator at its end
  const char* fault_ = nullptr;       // of the directory
  uint64_t position_ = ~uint64_t{0};  // of the directory's record
};

}  // namespace tabulon
