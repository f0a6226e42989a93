#include "base/standardfds.h"

#include <fcntl.h>
#include <paths.h>
#include <unistd.h>

#include <initializer_list>

namespace tabulon {

bool HoldStandardDescriptors() {
  for (const int fd : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    if (fcntl(fd, F_GETFD) >= 0) continue;
    // The lowest free number is this one.
    if (open(_PATH_DEVNULL, fd == STDIN_FILENO ? O_WRONLY : O_RDONLY) != fd) return false;
  }
  return true;
}

}  // namespace tabulon
