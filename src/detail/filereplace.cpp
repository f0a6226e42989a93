#include "detail/filereplace.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

#include "base/fileio.h"
#include "base/signalsblocked.h"
#include "base/utils.h"

namespace tabulon {
namespace {

constexpr mode_t kPermissionBits = 0777;

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

// The file that `path` leads to now; a state that equals no other when it leads to none.
FileState StateOf(const std::string& path) {
  struct stat info {};
  return stat(path.c_str(), &info) == 0 ? FileState::Of(info) : FileState{};
}

// Exchanges the names `copy` and `target`, and then looks at the file that had the name `target`.
// (With a look before a rename, a file that somebody else puts there in between would be lost.) A
// file that is not `expected` gets its name back.
int Exchange(const std::string& copy, const std::string& target, const FileState& expected) {
  const auto exchange = [&] {
    return renameat2(AT_FDCWD, copy.c_str(), AT_FDCWD, target.c_str(), RENAME_EXCHANGE);
  };
  if (exchange() != 0) return errno;
  if (StateOf(copy) == expected) return unlink(copy.c_str()) == 0 ? 0 : errno;
  exchange();
  return ESTALE;
}

// For file systems that cannot exchange names.
int LookAndRename(const std::string& copy, const std::string& target, const FileState& expected) {
  if (StateOf(target) != expected) return ESTALE;
  return rename(copy.c_str(), target.c_str()) == 0 ? 0 : errno;
}

// `copy` on the file system of `target`, for a link that leads to another one.
int TakePlaceFromAfar(const TempFile& copy, const std::string& target, const FileState& expected,
                      const struct stat& like) {
  TempFile near = TempFile::CreateBeside(target);
  if (!near.valid()) return errno;
  if (lseek(copy.fd(), 0, SEEK_SET) != 0) return errno;
  return CopyBytes(copy.fd(), near.fd()) ? TakePlace(near, target, expected, like) : errno;
}

}  // namespace

void TakePermittedOwnerAndMode(int fd, const struct stat& like) {
  // Only the superuser may give a file to another owner; everybody may give it to one of the own
  // groups.
  const bool given = fchown(fd, like.st_uid, like.st_gid) == 0;
  const bool shared = given || fchown(fd, static_cast<uid_t>(-1), like.st_gid) == 0;
  // Without its owner or group, a program must not keep the bits that make it run with their
  // rights.
  const mode_t kept = kPermissionBits | (given ? S_ISUID : 0) | (shared ? S_ISGID | S_ISVTX : 0);
  fchmod(fd, like.st_mode & kept);
}

int TakePlace(TempFile& copy, const std::string& target, const FileState& expected,
              const struct stat& like) {
  if (StateOf(target) != expected) return ESTALE;
  TakePermittedOwnerAndMode(copy.fd(), like);
  if (fsync(copy.fd()) != 0) return errno;
  int error = 0;
  {
    // A name may be the only one of somebody else's file meanwhile.
    const SignalsBlocked wait;
    copy.Keep();
    error = Exchange(copy.path(), target, expected);
    if (error == EINVAL || error == ENOSYS) error = LookAndRename(copy.path(), target, expected);
    if (error != 0) copy.RemoveAtEnd();
  }
  if (error == EXDEV) return TakePlaceFromAfar(copy, target, expected, like);
  if (error == 0) SyncDirectoryOf(target);
  return error;
}

}  // namespace tabulon
