// Puts one file in the place of another without a moment in which no whole copy is on disk.
#pragma once

#include <sys/stat.h>

#include <string>

namespace tabulon {

// Gives the open file `fd` the owner (as far as that is permitted) and the mode of `like`.
void TakeOwnerAndMode(int fd, const struct stat& like);

// Puts a copy of `temporary`, whose contents are on disk already, in the place of `name`: deletes
// `name`, then copies. Every step is on disk before the next begins. The temporary file stays, for
// the caller to delete. False with errno set on failure; then either `name` is untouched and the
// temporary file deleted, or `name` is gone and the temporary file is the only copy.
bool ReplaceByCopy(const std::string& name, const std::string& temporary);

// The same for a damaged file: `name` is not deleted, but gets a new name, which is told on the
// error log. On failure the temporary file is deleted.
bool ReplaceDamaged(const std::string& name, const std::string& temporary);

}  // namespace tabulon
