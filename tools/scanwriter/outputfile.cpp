#include "tools/scanwriter/outputfile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <memory>

#include "base/fileio.h"
#include "detail/filereplace.h"

namespace tabulon {
namespace {

constexpr mode_t kNewMode = 0640;

// The file that `path` leads to, so that the result replaces that and not a link to it.
std::string Resolved(const std::string& path) {
  const std::unique_ptr<char, decltype(&std::free)> real(realpath(path.c_str(), nullptr),
                                                         &std::free);
  return real ? std::string(real.get()) : path;
}

std::string DirectoryOf(const std::string& path) {
  const size_t slash = path.rfind('/');
  if (slash == std::string::npos) return ".";
  return path.substr(0, slash == 0 ? 1 : slash);
}

std::string_view LeafOf(std::string_view path) {
  return path.substr(path.rfind('/') + 1);
}

mode_t NewMode() {
  const mode_t mask = umask(0);
  umask(mask);
  return kNewMode & ~mask;
}

}  // namespace

bool OutputFile::Open(const std::string& path) {
  target_ = Resolved(path);
  struct stat existing;
  if (stat(target_.c_str(), &existing) == 0) {
    if (!S_ISREG(existing.st_mode)) {
      errno = EEXIST;
      return false;
    }
    replaced_ = existing;
  }
  file_ = TempFile::CreateBeside(target_);
  return file_.valid();
}

bool OutputFile::Append(std::string_view bytes) {
  return WriteFully(file_.fd(), bytes.data(), bytes.size());
}

bool OutputFile::Overwrite(uint64_t offset, std::string_view bytes) {
  return WriteFullyAt(file_.fd(), bytes.data(), bytes.size(), static_cast<off_t>(offset));
}

bool OutputFile::Commit() {
  if (replaced_) TakePermittedOwnerAndMode(file_.fd(), *replaced_);
  const bool written = (replaced_ || fchmod(file_.fd(), NewMode()) == 0) &&
                       fsync(file_.fd()) == 0 && file_.Close() == 0 &&
                       rename(file_.path().c_str(), target_.c_str()) == 0;
  if (!written) {
    const int error = errno;
    Discard();
    errno = error;
    return false;
  }
  file_.Keep();
  // The name itself becomes durable with the directory. Not every filesystem can do this, and the
  // file is whole either way, so a failure is none.
  const UniqueFd directory(open(DirectoryOf(target_).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (directory.valid()) fsync(directory.get());
  return true;
}

void OutputFile::AppendOwnFiles(std::vector<NamedFile>& files) const {
  struct stat own;
  if (file_.valid() && fstat(file_.fd(), &own) == 0) {
    files.push_back({own.st_dev, own.st_ino, std::string(LeafOf(file_.path()))});
  }
  if (!replaced_) return;
  files.push_back({replaced_->st_dev, replaced_->st_ino, std::string(LeafOf(target_))});
}

}  // namespace tabulon
