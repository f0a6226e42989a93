#include "tools/mkdtl/opendirectory.h"

#include <fcntl.h>

#include <cerrno>

namespace tabulon {
namespace {

constexpr int kToList = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;
// Needs no leave to read the directory.
constexpr int kToSearch = O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;

UniqueFd Expected(UniqueFd directory, const struct stat& expected) {
  struct stat info;
  if (!directory.valid() || fstat(directory.get(), &info) != 0) return {};
  if (SameFile(info, expected)) return directory;
  directory.Reset();
  errno = ESTALE;
  return {};
}

}  // namespace

bool SameFile(const struct stat& a, const struct stat& b) {
  return a.st_dev == b.st_dev && a.st_ino == b.st_ino;
}

UniqueFd OpenToList(int parent, const char* name, const struct stat& info) {
  const uid_t user = geteuid();
  if (user == 0 || user == info.st_uid) {
    UniqueFd quiet(openat(parent, name, kToList | O_NOATIME));
    if (quiet.valid() || errno != EPERM) return quiet;
  }
  return UniqueFd(openat(parent, name, kToList));
}

UniqueFd OpenAgain(int above, const std::vector<std::string>& names, const struct stat& expected) {
  UniqueFd current;
  for (const std::string& name : names) {
    current = UniqueFd(openat(current.valid() ? current.get() : above, name.c_str(), kToSearch));
    if (!current.valid()) return {};
  }
  return Expected(std::move(current), expected);
}

UniqueFd OpenParent(int directory, const struct stat& expected) {
  return Expected(UniqueFd(openat(directory, "..", kToSearch)), expected);
}

}  // namespace tabulon
