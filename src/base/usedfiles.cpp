#include "base/usedfiles.h"

#include <sys/stat.h>

#include <compare>
#include <filesystem>
#include <map>
#include <optional>
#include <system_error>

#include "base/loganderr.h"

namespace tabulon {
namespace {

namespace fs = std::filesystem;

constexpr int kMostLinks = 40;  // on the way to a file, as the system has it

struct FileId {
  dev_t device;
  ino_t inode;
  std::string name;  // in the directory of that inode; empty: the inode is the file's own
  auto operator<=>(const FileId&) const = default;
};

// The place where a file would be made that is opened by this name, which may be a link.
fs::path Made(fs::path path) {
  std::error_code error;
  for (int i = 0; i < kMostLinks; ++i) {
    const fs::path target = fs::read_symlink(path, error);
    if (error) break;
    path = path.parent_path() / target;
  }
  return path;
}

// None: no regular file, or none that can be made.
std::optional<FileId> IdOf(const std::string& path) {
  struct stat found {};
  if (stat(path.c_str(), &found) == 0) {
    if (!S_ISREG(found.st_mode)) return std::nullopt;
    return FileId{found.st_dev, found.st_ino, {}};
  }
  const fs::path made = Made(path);
  const fs::path directory = made.has_parent_path() ? made.parent_path() : ".";
  if (!made.has_filename() || stat(directory.c_str(), &found) != 0) return std::nullopt;
  return FileId{found.st_dev, found.st_ino, made.filename()};
}

bool MayShare(const UsedFile& a, const UsedFile& b) {
  return a.use == b.use && a.use != FileUse::kWritten;
}

}  // namespace

void RefuseSameFiles(const UsedFiles& files) {
  std::map<FileId, const UsedFile*> known;
  for (const UsedFile& file : files) {
    const std::optional<FileId> id = IdOf(file.path);
    if (!id) continue;
    const auto [first, isNew] = known.emplace(*id, &file);
    if (isNew || MayShare(*first->second, file)) continue;
    ErrExit(L"%ls '%s' and %ls '%s' are one file\n", first->second->role, first->second->path,
            file.role, file.path);
  }
}

bool IsSameFile(int a, int b) {
  struct stat first {
  }, second{};
  return fstat(a, &first) == 0 && fstat(b, &second) == 0 && S_ISREG(first.st_mode) &&
         first.st_dev == second.st_dev && first.st_ino == second.st_ino;
}

}  // namespace tabulon
