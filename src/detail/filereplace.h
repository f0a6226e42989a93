// Puts one file in the place of another without a moment in which no whole file has the name.
#pragma once

#include <sys/stat.h>

#include <string>

#include "base/tempfile.h"

namespace tabulon {

// Which file it is, and in what state: a write or a rename changes at least one of these.
struct FileState {
  dev_t device = 0;
  ino_t inode = 0;
  off_t size = 0;
  timespec modified{};

  static FileState Of(const struct stat& info) {
    return {info.st_dev, info.st_ino, info.st_size, info.st_mtim};
  }
  bool operator==(const FileState& other) const {
    return device == other.device && inode == other.inode && size == other.size &&
           modified.tv_sec == other.modified.tv_sec && modified.tv_nsec == other.modified.tv_nsec;
  }
};

// Gives the open file `fd` the owner (as far as that is permitted) and the mode of `like`.
void TakePermittedOwnerAndMode(int fd, const struct stat& like);

// Gives the file `copy`, brought to disk first, the name `target` by one rename, with the owner and
// mode of `like`. `target` must still be the name of the file `expected`; another file that has
// come there stays. On failure `copy` keeps its own name. Returns 0, ESTALE when another file is
// there, or the number of a system error.
int TakePlace(TempFile& copy, const std::string& target, const FileState& expected,
              const struct stat& like);

}  // namespace tabulon
