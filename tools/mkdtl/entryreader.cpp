#include "tools/mkdtl/entryreader.h"

#include <dirent.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

namespace tabulon {
namespace {

constexpr uint64_t kLongestHint = 4096;  // PATH_MAX

template <class T>
uint32_t Clamped(T value) {
  if (value < T{0}) return 0;
  return static_cast<uint32_t>(std::min<uint64_t>(static_cast<uint64_t>(value), UINT32_MAX));
}

}  // namespace

void OwnerSet::Merge(const OwnerSet& other) {
  uids_.insert(other.uids_.begin(), other.uids_.end());
  gids_.insert(other.gids_.begin(), other.gids_.end());
}

void FillRecord(RecordSpec& record, const struct stat& info) {
  record.attributes = info.st_mode;
  record.created = Clamped(info.st_ctim.tv_sec);
  record.accessed = Clamped(info.st_atim.tv_sec);
  record.modified = Clamped(info.st_mtim.tv_sec);
  record.size = static_cast<uint64_t>(info.st_size);
  record.uid = info.st_uid;
  record.gid = info.st_gid;
  record.inode = static_cast<uint32_t>(info.st_ino);
  record.links = Clamped(info.st_nlink);
}

FoundEntries EntryReader::Read(int directory, const NameList& names, size_t first, size_t last) {
  FoundEntries found;
  size_t bytes = 0;
  for (size_t i = first; i < last; ++i) {
    if (names.Type(i) != DT_DIR) bytes += FixedRecordSize(form_.kind) + names[i].size() + 1;
  }
  found.files.bytes.reserve(bytes);
  for (size_t i = first; i < last; ++i) {
    if (names.Type(i) == DT_DIR) {
      found.subdirectories.push_back(i);  // the visit of it looks at the rest
    } else {
      ReadEntry(directory, names[i], i, found);
    }
  }
  return found;
}

void EntryReader::ReadEntry(int directory, std::string_view name, size_t index,
                            FoundEntries& found) {
  struct stat info;
  if (fstatat(directory, name.data(), &info, kStatFlags) != 0) {
    if (errno != ENOENT) found.problems.push_back({std::string(name), errno});
    return;
  }
  if (S_ISDIR(info.st_mode)) {
    found.subdirectories.push_back(index);
    return;
  }
  if (IsLeftOut(info, name)) return;
  record_.name = name;
  record_.target.clear();
  if (S_ISLNK(info.st_mode)) {
    // The size is a hint only: some filesystems give 0, or anything, and the link may have changed.
    const auto hint = static_cast<uint64_t>(info.st_size);
    record_.target.resize(std::min(hint, kLongestHint) + 1);
    ReadTarget(directory, name, found);
  }
  record_.flags = S_ISLNK(info.st_mode) ? kRecordSymlink : 0;
  FillRecord(record_, info);
  AppendFile(found.files, form_, record_);
  owners_.Add(info.st_uid, info.st_gid);
}

void EntryReader::ReadTarget(int directory, std::string_view name, FoundEntries& found) {
  std::string& target = record_.target;
  for (;;) {
    const ssize_t got = readlinkat(directory, name.data(), target.data(), target.size());
    if (got < 0) {
      if (errno != ENOENT) found.problems.push_back({std::string(name), errno});
      target.clear();
      return;
    }
    const auto length = static_cast<size_t>(got);
    if (length < target.size()) {
      target.resize(length);
      return;
    }
    target.resize(2 * target.size() + 255);
  }
}

bool EntryReader::IsLeftOut(const struct stat& info, std::string_view name) const {
  return std::any_of(leftOut_.begin(), leftOut_.end(), [&](const NamedFile& file) {
    return file.inode == info.st_ino && file.device == info.st_dev && file.name == name;
  });
}

}  // namespace tabulon
