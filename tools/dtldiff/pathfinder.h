// Paths of files by the places of their records. Records are read one by one, not mapped: those of
// files that changed lie far from each other.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "tools/dtldiff/entry.h"
#include "tools/scanreader/queriedscan.h"

namespace tabulon {

// A path as it is shown: the root, the directory, a separator, and the name.
struct FoundPath {
  std::string text;
  const char* fault = nullptr;  // why it may lead out of the tree (scanreader/safepath.h)
};

class RecordPaths {
 public:
  explicit RecordPaths(const QueriedScan& scan) : scan_(scan) {}

  // Sets `path` to that of a file.
  void Find(const FilePlace& place, FoundPath& path);
  // The same where both parts are at hand.
  void Join(std::string_view directory, std::string_view name, FoundPath& path) const;
  // The stored path of the directory whose record is there, without separators at its end.
  std::string DirectoryAt(uint64_t position);

 private:
  std::string_view NameAt(uint64_t position);

  const QueriedScan& scan_;
  std::vector<char> bytes_;
  uint64_t directoryAt_ = kNoRecord;
  std::string directory_;  // stored path of the directory met last
};

}  // namespace tabulon
