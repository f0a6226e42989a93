#include "detail/pathtext.h"

namespace tabulon {

template <class Char>
void PathText::Buffer<Char>::Join(const Origin& newDirectory, Text directoryText, Text name) {
  if (directory != newDirectory) {
    directory = newDirectory;
    directoryLength = directoryText.copy(units.data(), kPathLimit);
    // A backslash on NFS scans too: "/srv/data\file". Kept so.
    if (!directoryText.ends_with(Char{'\\'}) && directoryLength < kPathLimit) {
      units[directoryLength++] = Char{'\\'};
    }
  }
  length =
      directoryLength + name.copy(units.data() + directoryLength, kPathLimit - directoryLength);
}

void PathText::Assign(const RecordText& directory, const RecordText& name) {
  const Origin newDirectory(directory);
  const Origin newName(name);
  if (name_ == newName && directory_ == newDirectory) return;
  name_ = newName;
  directory_ = newDirectory;
  isAscii_ = directory.IsAscii() && name.IsAscii();
  if (isAscii_) {
    ascii_.Join(newDirectory, directory.Ascii(), name.Ascii());
  } else {
    wide_.Join(newDirectory, directory.Wide(), name.Wide());
  }
}

}  // namespace tabulon
