// The system calls by which a walk gets from directory to directory. It never hands the system a
// path, so paths may be of any length, and never follows a link.
#pragma once

#include <sys/stat.h>

#include <string>
#include <vector>

#include "base/fileio.h"

namespace tabulon {

bool SameFile(const struct stat& a, const struct stat& b);

// Opens a directory to be listed. `info` is what stat(2) has said of it; its time of access stays
// where that is permitted. Not valid, with errno set, on failure.
UniqueFd OpenToList(int parent, const char* name, const struct stat& info);

// Opens a directory again, from one above it, by the names on the way down. Its entries can be
// looked at then, but not listed. Not valid, with errno set, on failure; ESTALE when another
// directory than `expected` is there.
UniqueFd OpenAgain(int above, const std::vector<std::string>& names, const struct stat& expected);
// The same from a directory in it.
UniqueFd OpenParent(int directory, const struct stat& expected);

}  // namespace tabulon
