#include "tools/mkdtl/walk.h"

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <functional>
#include <memory>
#include <string_view>
#include <utility>

namespace tabulon {
namespace {

constexpr int kOpenDirectory = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;
constexpr int kStatFlags = AT_SYMLINK_NOFOLLOW | AT_NO_AUTOMOUNT;

struct CloseDirectory {
  void operator()(DIR* directory) const { closedir(directory); }
};

bool SameFile(const struct stat& a, const struct stat& b) {
  return a.st_dev == b.st_dev && a.st_ino == b.st_ino;
}

// A second descriptor of an open directory. (Opening "." anew would need leave to search it, which
// a directory that may only be listed does not give.)
UniqueFd Another(const UniqueFd& directory) {
  return UniqueFd(fcntl(directory.get(), F_DUPFD_CLOEXEC, 0));
}

bool IsDotName(std::string_view name) {
  return name == "." || name == "..";
}

}  // namespace

TreeWalk::TreeWalk(UniqueFd root, TreeVisitor& visitor)
    : root_(std::move(root)), visitor_(visitor) {}

void TreeWalk::Run() {
  if (!EnterRoot()) return;
  while (!levels_.empty()) {
    std::vector<std::string>& rest = levels_.back().subdirectories;
    if (rest.empty()) {
      Ascend();
      continue;
    }
    const std::string name = std::move(rest.back());
    rest.pop_back();
    if (!Enter(name)) return;
  }
}

bool TreeWalk::EnterRoot() {
  current_ = Another(root_);
  struct stat info;
  if (!current_.valid() || fstat(current_.get(), &info) != 0) {
    visitor_.Unreadable(path_, errno);
    return false;
  }
  device_ = info.st_dev;
  if (!visitor_.Directory(path_, info)) return false;
  Push(info);
  return true;
}

// Enters a subdirectory of the current directory, or tells why not. False when the visitor wants no
// more.
bool TreeWalk::Enter(const std::string& name) {
  const std::string path = PathOf(name);
  struct stat info;
  if (fstatat(current_.get(), name.c_str(), &info, kStatFlags) != 0) {
    if (errno != ENOENT) visitor_.Unreadable(path, errno);
    return true;
  }
  if (!S_ISDIR(info.st_mode)) return true;  // replaced since its name was read
  if (path.size() > kLongestPath) {
    visitor_.Unreadable(path, ENAMETOOLONG);
    return true;
  }
  if (!visitor_.Directory(path, info)) return false;
  if (info.st_dev != device_) return true;
  UniqueFd child(openat(current_.get(), name.c_str(), kOpenDirectory));
  struct stat opened;
  if (!child.valid() || fstat(child.get(), &opened) != 0) {
    visitor_.Unreadable(path, errno);
    return true;
  }
  if (!SameFile(info, opened)) {  // exchanged between the two looks
    visitor_.Unreadable(path, ESTALE);
    return true;
  }
  current_ = std::move(child);
  path_ = path;
  Push(info);
  return true;
}

void TreeWalk::Push(const struct stat& info) {
  levels_.push_back({path_.size(), info.st_dev, info.st_ino, {}});
  TellFiles(levels_.back());
}

void TreeWalk::TellFiles(Level& level) {
  for (const std::string& name : SortedNames()) TellEntry(name, level);
  std::reverse(level.subdirectories.begin(), level.subdirectories.end());
}

void TreeWalk::TellEntry(const std::string& name, Level& level) {
  struct stat info;
  if (fstatat(current_.get(), name.c_str(), &info, kStatFlags) != 0) {
    if (errno != ENOENT) visitor_.Unreadable(PathOf(name), errno);
  } else if (S_ISDIR(info.st_mode)) {
    level.subdirectories.push_back(name);
  } else {
    visitor_.File(name, info, S_ISLNK(info.st_mode) ? LinkTarget(name, info) : std::string());
  }
}

std::vector<std::string> TreeWalk::SortedNames() {
  std::vector<std::string> names;
  // The stream closes its descriptor, so it gets one of its own.
  UniqueFd own = Another(current_);
  const std::unique_ptr<DIR, CloseDirectory> directory(own.valid() ? fdopendir(own.get())
                                                                   : nullptr);
  if (directory) own.Release();
  const dirent* entry = nullptr;
  errno = directory ? 0 : errno;
  while (directory && (entry = readdir(directory.get())) != nullptr) {
    if (!IsDotName(entry->d_name)) names.emplace_back(entry->d_name);
    errno = 0;
  }
  if (errno != 0) visitor_.Unreadable(path_, errno);
  std::sort(names.begin(), names.end());
  return names;
}

std::string TreeWalk::LinkTarget(const std::string& name, const struct stat& info) {
  // The size is a hint only: some filesystems give 0, and the link may have changed.
  std::string target(static_cast<size_t>(info.st_size) + 1, '\0');
  for (;;) {
    const ssize_t got = readlinkat(current_.get(), name.c_str(), target.data(), target.size());
    if (got < 0) {
      if (errno != ENOENT) visitor_.Unreadable(PathOf(name), errno);
      return {};
    }
    const auto length = static_cast<size_t>(got);
    if (length < target.size()) {
      target.resize(length);
      return target;
    }
    target.resize(2 * target.size() + 255);
  }
}

// Leaves the current directory for the one above it.
void TreeWalk::Ascend() {
  levels_.pop_back();
  if (levels_.empty()) return;
  path_.resize(levels_.back().pathLength);
  if (OpenParent() || OpenFromRoot()) return;
  visitor_.Unreadable(path_, errno);
  levels_.back().subdirectories.clear();
  current_.Reset();
}

// The quick way up. It leads astray when the directory has been moved meanwhile, and it is closed
// when the directory may be listed but not searched.
bool TreeWalk::OpenParent() {
  current_ = UniqueFd(openat(current_.get(), "..", kOpenDirectory));
  return IsCurrent(levels_.back());
}

bool TreeWalk::OpenFromRoot() {
  current_ = Another(root_);
  for (size_t at = 1; at < path_.size() && current_.valid();) {
    const size_t end = std::min(path_.find('/', at), path_.size());
    const std::string name = path_.substr(at, end - at);
    current_ = UniqueFd(openat(current_.get(), name.c_str(), kOpenDirectory));
    at = end + 1;
  }
  return IsCurrent(levels_.back());
}

bool TreeWalk::IsCurrent(const Level& level) const {
  struct stat info;
  if (!current_.valid() || fstat(current_.get(), &info) != 0) return false;
  errno = ESTALE;
  return info.st_dev == level.device && info.st_ino == level.inode;
}

std::string TreeWalk::PathOf(const std::string& name) const {
  return path_.size() == 1 ? path_ + name : path_ + "/" + name;
}

}  // namespace tabulon
