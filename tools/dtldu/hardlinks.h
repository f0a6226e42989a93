// Which files of a scan are one and the same under several names.
#pragma once

#include <cstdint>
#include <vector>

#include "detail/recordreader.h"
#include "detail/scan.h"
#include "tools/scanreader/indextable.h"

namespace tabulon {

// A file that has several names. A scan has only the low 32 bits of the inode's number, and no
// device. So names are taken to belong to one file when all of these fields are equal.
struct LinkedFile {
  uint64_t size;
  uint32_t inode, modified, mode, uid, gid;
  bool operator==(const LinkedFile&) const = default;
};

class HardLinks {
 public:
  explicit HardLinks(const Scan& scan);

  // Whether the record may have a second name. Scans of Windows shares do not tell.
  bool IsLinked(const RecordFields& fields) const { return known_ && fields.links() > 1; }
  // The number of the file that has this name, counted from 0; `first`: no name of it came before.
  // REQUIRES: IsLinked.
  uint32_t NumberOf(const RecordFields& fields, bool& first);

 private:
  bool known_;
  uint64_t seed_;
  std::vector<LinkedFile> files_;
  IndexTable byFile_;
};

}  // namespace tabulon
