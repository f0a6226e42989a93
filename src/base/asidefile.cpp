#include "base/asidefile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

namespace tabulon {
namespace {

constexpr mode_t kFileMode = 0666;   // before the process mask
constexpr mode_t kModeBits = 07777;  // what fchmod sets

// Whether another file can take the place of the one named `path` unnoticed.
bool IsReplaceable(const std::string& path, struct stat& found) {
  return lstat(path.c_str(), &found) == 0 && S_ISREG(found.st_mode) && found.st_nlink == 1 &&
         getxattr(path.c_str(), "system.posix_acl_access", nullptr, 0) <= 0;
}

// False, with the mode as it was, when the owner cannot be the same.
bool TakeExactOwnerAndMode(int fd, const struct stat& like) {
  struct stat own {};
  if (fstat(fd, &own) != 0) return false;
  const bool sameOwner = own.st_uid == like.st_uid && own.st_gid == like.st_gid;
  if (!sameOwner && fchown(fd, like.st_uid, like.st_gid) != 0) return false;
  return fchmod(fd, like.st_mode & kModeBits) == 0;
}

}  // namespace

bool AsideFile::Prepare(std::string path) {
  path_ = std::move(path);
  placeholder_ = TempFile::CreateExclusive(path_, kFileMode);
  if (placeholder_.valid()) {
    placeholder_.KeepUnlessSignalled();
    placeholder_.Close();
    return true;
  }
  UniqueFd file(open(path_.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, kFileMode));
  struct stat found {};
  if (!file.valid() || fstat(file.get(), &found) != 0) return false;
  if (!S_ISREG(found.st_mode)) {
    special_ = std::move(file);
    return true;
  }
  existed_ = true;
  direct_ = !IsReplaceable(path_, found);
  return !direct_ || ftruncate(file.get(), 0) == 0;
}

bool AsideFile::Open(TextStream& stream, TextEncoding encoding) {
  if (special_.valid()) {
    stream.Attach(special_.Release(), true, encoding, path_);
    return true;
  }
  const bool aside = !direct_ && MakeAside();
  const int fd = aside ? aside_.fd() : open(path_.c_str(), O_WRONLY | O_TRUNC | O_CLOEXEC);
  if (fd < 0) return false;
  stream.Attach(fd, !aside, encoding, path_);
  if (existed_) stream.PlaceEarly();
  return true;
}

bool AsideFile::MakeAside() {
  struct stat found {};
  if (!IsReplaceable(path_, found)) return false;
  aside_ = TempFile::CreateBeside(path_);
  if (!aside_.valid()) return false;
  if (TakeExactOwnerAndMode(aside_.fd(), found)) return true;
  aside_.Remove();
  return false;
}

int AsideFile::Close(TextStream& stream) {
  int error = stream.Close();
  if (!aside_.valid()) {
    placeholder_.Keep();
    return error;
  }
  if (aside_.Close() != 0 && error == 0) error = errno;
  if (error == 0 && !aside_.Replace(placeholder_)) error = errno;
  if (error != 0) aside_.Remove();
  return error;
}

}  // namespace tabulon
