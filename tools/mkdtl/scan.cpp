#include <fcntl.h>
#include <grp.h>
#include <pwd.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <memory>
#include <set>
#include <string>

#include "tools/mkdtl/commands.h"
#include "tools/mkdtl/output.h"
#include "tools/mkdtl/walk.h"
#include "tools/scanwriter/littlebytes.h"

namespace tabulon {
namespace {

template <class T>
uint32_t Clamped(T value) {
  if (value < T{0}) return 0;
  return static_cast<uint32_t>(std::min<uint64_t>(static_cast<uint64_t>(value), UINT32_MAX));
}

// The common fields of a record. The time of creation is that of the last status change: NFS knows
// no other.
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

// Text as a terminal may show it: without control characters, which could change what else is
// read there.
std::string Harmless(std::string_view text) {
  std::string shown;
  while (!text.empty()) {
    std::string_view rest = text;
    const char32_t c = TakeCodePoint(rest);
    const bool control = c < 0x20 || (c >= 0x7F && c < 0xA0);
    shown += control ? "?" : text.substr(0, text.size() - rest.size());
    text = rest;
  }
  return shown;
}

// A line on standard error that says how far the scan is, when that is a terminal.
class Progress {
 public:
  ~Progress() { Clear(); }

  bool onTerminal() const { return onTerminal_; }

  void Count() {
    if (onTerminal_ && ++records_ % kCheckEvery == 0 && Clock::now() >= due_) Show();
  }
  void Clear() {
    if (shown_) std::fputs("\r\033[K", stderr);
    shown_ = false;
  }

 private:
  using Clock = std::chrono::steady_clock;
  static constexpr uint64_t kCheckEvery = 256;
  static constexpr std::chrono::milliseconds kPause{200};

  void Show() {
    std::fprintf(stderr, "\r%" PRIu64 " entries", records_);
    shown_ = true;
    due_ = Clock::now() + kPause;
  }

  bool onTerminal_ = isatty(STDERR_FILENO) != 0;
  bool shown_ = false;
  uint64_t records_ = 0;
  Clock::time_point due_ = Clock::now() + kPause;
};

// Turns what the walk finds into records.
class ScanRecorder : public TreeVisitor {
 public:
  ScanRecorder(DtlWriter& writer, const ScanOutput& output)
      : writer_(writer), output_(output), rootPath_(writer.spec().rootPath) {}

  bool Directory(const std::string& path, const struct stat& info) override {
    Record(kRecordDirectory, path, info, {});
    return writer_.good();
  }

  void File(const std::string& name, const struct stat& info, const std::string& target) override {
    if (output_.Owns(info)) return;
    Record(S_ISLNK(info.st_mode) ? kRecordSymlink : 0, name, info, target);
  }

  void Unreadable(const std::string& path, int error) override {
    ++unreadable_;
    progress_.Clear();
    const std::string name = rootPath_ == "/" ? path : rootPath_ + (path == "/" ? "" : path);
    std::fprintf(stderr, "mkdtl: cannot read '%s': %s\n",
                 (progress_.onTerminal() ? Harmless(name) : name).c_str(), std::strerror(error));
  }

  // Adds names for the ids that occur in the records; an id without a name is left out.
  void Finish() {
    progress_.Clear();
    std::vector<IdSpec>& ids = writer_.spec().ids;
    for (const uint32_t uid : uids_) {
      if (const passwd* user = getpwuid(uid)) ids.push_back({uid, kIdUser, 0, user->pw_name});
    }
    for (const uint32_t gid : gids_) {
      if (const group* known = getgrgid(gid)) ids.push_back({gid, kIdGroup, 0, known->gr_name});
    }
  }

  uint64_t unreadable() const { return unreadable_; }

 private:
  void Record(uint32_t flags, const std::string& name, const struct stat& info,
              const std::string& target) {
    record_.flags = flags;
    record_.name = name;
    record_.target = target;
    FillRecord(record_, info);
    writer_.Add(record_);
    uids_.insert(info.st_uid);
    gids_.insert(info.st_gid);
    progress_.Count();
  }

  DtlWriter& writer_;
  const ScanOutput& output_;
  std::string rootPath_;
  RecordSpec record_;
  std::set<uint32_t> uids_;
  std::set<uint32_t> gids_;
  uint64_t unreadable_ = 0;
  Progress progress_;
};

std::string AbsolutePath(const std::string& path) {
  const std::unique_ptr<char, decltype(&std::free)> real(realpath(path.c_str(), nullptr),
                                                         &std::free);
  return real ? std::string(real.get()) : path;
}

std::string HostName() {
  utsname system{};
  uname(&system);
  return system.nodename;
}

// What the scan says of itself before any record is known.
ScanSpec DescribeScan(const ScanOptions& options, int root) {
  utsname system{};
  uname(&system);
  ScanSpec spec{.scanTime = Clamped(std::time(nullptr)),
                .server = HostName(),
                .rootPath = AbsolutePath(options.directory),
                .host = HostName(),
                .version = {MKDTL_VERSION, system.sysname, system.machine}};
  struct statvfs volume;
  if (fstatvfs(root, &volume) == 0) {
    spec.availableSpace = uint64_t{volume.f_bavail} * volume.f_frsize;
    spec.volumeCapacity = uint64_t{volume.f_blocks} * volume.f_frsize;
  }
  return spec;
}

}  // namespace

int RunScan(const ScanOptions& options) {
  UniqueFd root(open(options.directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!root.valid()) {
    std::fprintf(stderr, "mkdtl: cannot open directory '%s': %s\n", options.directory.c_str(),
                 std::strerror(errno));
    return kExitFailed;
  }
  ScanOutput output(options.output);
  if (!output.Open()) return kExitFailed;
  DtlWriter writer(output.sink(), DescribeScan(options, root.get()));
  ScanRecorder recorder(writer, output);
  TreeWalk(std::move(root), recorder).Run();
  recorder.Finish();
  if (!output.Finish(writer)) return kExitFailed;
  if (recorder.unreadable() == 0) return kExitWritten;
  std::fprintf(stderr, "mkdtl: %" PRIu64 " entries could not be read\n", recorder.unreadable());
  return kExitIncomplete;
}

}  // namespace tabulon
