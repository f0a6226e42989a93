#include "tools/mkdtl/scanrecorder.h"

#include <grp.h>
#include <pwd.h>
#include <unistd.h>

#include <cstring>

#include "tools/common/figures.h"
#include "tools/common/terminaltext.h"

namespace tabulon {
namespace {

constexpr uint64_t kMostNamed = 10;  // mount points

std::string Quoted(const std::string& path) {
  return std::string("'").append(ShownOn(STDERR_FILENO, path)).append("'");
}

}  // namespace

bool ScanRecorder::Directory(const std::string& path, const struct stat& info) {
  record_.flags = kRecordDirectory;
  record_.name = path;
  FillRecord(record_, info);
  writer_.Add(record_);
  owners_.Add(info.st_uid, info.st_gid);
  return writer_.good();
}

bool ScanRecorder::Files(const FileRecords& files) {
  writer_.AddFiles(files);
  return writer_.good();
}

void ScanRecorder::MountPoint(const std::string& path) {
  if (++mountPoints_ > kMostNamed) return;
  tell_("mkdtl: " + Quoted(FullPath(path)) + " is another filesystem: left out\n");
}

void ScanRecorder::Unreadable(const std::string& path, int error) {
  ++unreadable_;
  tell_("mkdtl: cannot read " + Quoted(FullPath(path)) + ": " + std::strerror(error) + "\n");
}

void ScanRecorder::Finish(const OwnerSet& ownersOfFiles) {
  if (mountPoints_ > kMostNamed) {
    tell_("mkdtl: " + Grouped(mountPoints_ - kMostNamed) +
          " more are other filesystems: left out\n");
  }
  owners_.Merge(ownersOfFiles);
  std::vector<IdSpec>& ids = writer_.spec().ids;
  for (const uint32_t uid : owners_.uids()) {
    if (const passwd* user = getpwuid(uid)) ids.push_back({uid, kIdUser, 0, user->pw_name});
  }
  for (const uint32_t gid : owners_.gids()) {
    if (const group* known = getgrgid(gid)) ids.push_back({gid, kIdGroup, 0, known->gr_name});
  }
}

std::string ScanRecorder::FullPath(const std::string& path) const {
  if (root_ == "/") return path;
  return path == "/" ? root_ : root_ + path;
}

}  // namespace tabulon
