#include "detail/filereplace.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

#include "base/loganderr.h"
#include "base/uniquefd.h"
#include "base/utils.h"

namespace tabulon {
namespace {

constexpr mode_t kPermissionBits = 0777;
constexpr mode_t kPrivateMask = 0077;  // new files are for their owner alone
constexpr int kAsideTries = 10'000;

class PrivateFiles {
 public:
  PrivateFiles() : saved_(umask(kPrivateMask)) {}
  ~PrivateFiles() { umask(saved_); }
  PrivateFiles(const PrivateFiles&) = delete;
  PrivateFiles& operator=(const PrivateFiles&) = delete;

 private:
  mode_t saved_;
};

// Brings the names in the directory of `path` to disk. A directory that may not be read, or a
// filesystem that does not offer this, counts as done: there is nothing better to do.
bool SyncDirectoryOf(const std::string& path) {
  const size_t slash = path.rfind('/');
  const std::string directory =
      slash == std::string::npos ? "." : path.substr(0, slash == 0 ? 1 : slash);
  const UniqueFd fd(open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!fd.valid()) return errno == EACCES;
  return fsync(fd.get()) == 0 || errno == EINVAL;
}

// Gives `from` the name `to`, which must be free.
bool RenameToFree(const std::string& from, const std::string& to) {
  if (renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0) return true;
  if (errno != EINVAL && errno != ENOSYS) return false;
  return link(from.c_str(), to.c_str()) == 0 && unlink(from.c_str()) == 0;
}

// Gives `name` the first free name of "<name>.damaged", "<name>.damaged-2" and so on.
bool SetAside(const std::string& name) {
  std::string aside = name + ".damaged";
  for (int i = 2; !RenameToFree(name, aside); ++i) {
    if (errno != EEXIST || i > kAsideTries) return false;
    aside = name + ".damaged-" + std::to_string(i);
  }
  LogErr(L"'%s' is damaged; it is kept as '%s', what could be decompressed takes its place\n", name,
         aside);
  return true;
}

// Copies `temporary` to the free name `name`.
bool CopyInPlace(const std::string& name, const std::string& temporary, const struct stat& like) {
  {
    const PrivateFiles scope;
    if (cp(name.c_str(), temporary.c_str()) != 0) return false;
  }
  const UniqueFd copy(open(name.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC));
  if (copy.valid()) TakeOwnerAndMode(copy.get(), like);
  if (copy.valid() && fsync(copy.get()) == 0 && SyncDirectoryOf(name)) return true;
  const int errnum = errno;
  unlink(name.c_str());
  errno = errnum;
  return false;
}

// Deletes the temporary file after a failure; the result of the failed call.
bool GiveUp(const std::string& temporary) {
  const int errnum = errno;
  unlink(temporary.c_str());
  errno = errnum;
  return false;
}

}  // namespace

void TakeOwnerAndMode(int fd, const struct stat& like) {
  // Giving a file away is for the superuser, giving it to one of the own groups is for everybody.
  const bool given = fchown(fd, like.st_uid, like.st_gid) == 0;
  const bool shared = given || fchown(fd, static_cast<uid_t>(-1), like.st_gid) == 0;
  // A program must not run with the rights of another owner or group than it did.
  const mode_t kept = kPermissionBits | (given ? S_ISUID : 0) | (shared ? S_ISGID | S_ISVTX : 0);
  fchmod(fd, like.st_mode & kept);
}

bool ReplaceByCopy(const std::string& name, const std::string& temporary) {
  struct stat like {};
  if (stat(name.c_str(), &like) != 0 || !SyncDirectoryOf(temporary) || unlink(name.c_str()) != 0) {
    return GiveUp(temporary);
  }
  if (CopyInPlace(name, temporary, like)) return true;
  const int errnum = errno;
  LogErr(L"The scan is kept in '%s'\n", temporary);
  errno = errnum;
  return false;
}

bool ReplaceDamaged(const std::string& name, const std::string& temporary) {
  struct stat like {};
  if (stat(name.c_str(), &like) != 0 || !SetAside(name) || !CopyInPlace(name, temporary, like)) {
    return GiveUp(temporary);
  }
  return true;
}

}  // namespace tabulon
