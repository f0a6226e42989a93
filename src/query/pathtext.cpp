#include "query/pathtext.h"

#include <algorithm>

namespace tabulon {

template <class Char>
void PathText::Buffer<Char>::Join(uint64_t newDirectoryStamp, Text directory, Text name) {
  if (directoryStamp != newDirectoryStamp) {
    directoryStamp = newDirectoryStamp;
    directoryLength = directory.copy(units.data(), kPathLimit);
    // A backslash on NFS scans too: "/srv/data\file". Kept so.
    if (!directory.ends_with(Char{'\\'}) && directoryLength < kPathLimit) {
      units[directoryLength++] = Char{'\\'};
    }
  }
  length =
      directoryLength + name.copy(units.data() + directoryLength, kPathLimit - directoryLength);
}

void PathText::Assign(const RecordText& directory, const RecordText& name) {
  if (nameStamp_ == name.Stamp() && directoryStamp_ == directory.Stamp()) return;
  nameStamp_ = name.Stamp();
  directoryStamp_ = directory.Stamp();
  isAscii_ = directory.IsAscii() && name.IsAscii();
  if (isAscii_) {
    ascii_.Join(directoryStamp_, directory.Ascii(), name.Ascii());
  } else {
    wide_.Join(directoryStamp_, directory.Wide(), name.Wide());
  }
}

const PathText& PathOf(const ScanRecord& record) {
  static PathText path;
  path.Assign(*record.directory, record.name);
  return path;
}

}  // namespace tabulon
