// mkdtl scan: from a directory to its scan.
#include <fcntl.h>
#include <sys/statvfs.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <memory>
#include <string>

#include "tools/common/commandline.h"
#include "tools/common/figures.h"
#include "tools/common/progress.h"
#include "tools/common/terminaltext.h"
#include "tools/mkdtl/commands.h"
#include "tools/mkdtl/defaultjobs.h"
#include "tools/mkdtl/output.h"
#include "tools/mkdtl/scanrecorder.h"
#include "tools/mkdtl/signalthread.h"
#include "tools/mkdtl/walk.h"

namespace tabulon {
namespace {

// The text of the line that says how far a scan is. When nothing has come for a while it names what
// is waited for: a server that does not answer shows up there.
class ScanProgress {
 public:
  ScanProgress(TreeWalk& walk, const ScanRecorder& recorder) : walk_(walk), recorder_(recorder) {}

  std::string Text(std::chrono::duration<double> elapsed) {
    const WalkState state = walk_.State();
    if (state.files != files_ || state.current != current_) changed_ = elapsed;
    files_ = state.files;
    current_ = state.current;
    const auto rate =
        static_cast<uint64_t>(std::llround(static_cast<double>(files_) / elapsed.count()));
    const bool hangs = elapsed - changed_ >= kLongPause;
    return Grouped(files_) + " files, " + SizeText(state.bytes) + ", " + Grouped(rate) +
           " files/s, " + Grouped(state.waiting) + " directories wait, " +
           (hangs ? DurationText(elapsed - changed_) + " without an answer from " : "") +
           recorder_.FullPath(current_);
  }

 private:
  static constexpr std::chrono::seconds kLongPause{2};

  TreeWalk& walk_;
  const ScanRecorder& recorder_;
  uint64_t files_ = 0;
  std::string current_;
  std::chrono::duration<double> changed_{0};
};

std::string AbsolutePath(const std::string& path) {
  const std::unique_ptr<char, decltype(&std::free)> real(realpath(path.c_str(), nullptr),
                                                         &std::free);
  return real ? std::string(real.get()) : path;
}

// What the scan says of itself before any record is known.
ScanSpec DescribeScan(const ScanOptions& options, const std::string& path, int root) {
  utsname system{};
  uname(&system);
  const time_t now = std::time(nullptr);
  ScanSpec spec{.scanTime = static_cast<uint32_t>(std::clamp<int64_t>(now, 0, UINT32_MAX)),
                .server = options.server.value_or(system.nodename),
                .rootPath = options.rootName.value_or(path),
                .host = options.server.value_or(system.nodename),
                .version = {kToolVersion, system.sysname, system.machine}};
  if (options.tag) {
    spec.flags = kHeaderQvaTagged;
    spec.tag = *options.tag;
  }
  struct statvfs volume;
  if (fstatvfs(root, &volume) == 0) {
    spec.availableSpace = uint64_t{volume.f_bavail} * volume.f_frsize;
    spec.volumeCapacity = uint64_t{volume.f_blocks} * volume.f_frsize;
  }
  return spec;
}

UniqueFd OpenRoot(const std::string& directory) {
  constexpr int kFlags = O_RDONLY | O_DIRECTORY | O_CLOEXEC;
  UniqueFd quiet(open(directory.c_str(), kFlags | O_NOATIME));
  if (quiet.valid() || errno != EPERM) return quiet;
  return UniqueFd(open(directory.c_str(), kFlags));
}

std::string Remark(const ScanRecorder& recorder, const TreeWalk& walk) {
  const auto counted = [](uint64_t count, const char* one, const char* more) {
    return count == 0 ? "" : ", " + Grouped(count) + (count == 1 ? one : more);
  };
  return counted(recorder.mountPoints(), " mount point left out", " mount points left out") +
         counted(walk.excluded(), " entry excluded", " entries excluded");
}

}  // namespace

int RunScan(const ScanOptions& options) {
  UniqueFd root = OpenRoot(options.directory);
  if (!root.valid()) {
    std::fprintf(stderr, "mkdtl: cannot open directory '%s': %s\n",
                 ShownOn(STDERR_FILENO, options.directory).c_str(), std::strerror(errno));
    return kExitFailed;
  }
  ScanOutput output(options.output);
  if (!output.Open()) return kExitFailed;
  const std::string path = AbsolutePath(options.directory);
  DtlWriter writer(output.sink(), DescribeScan(options, path, root.get()));
  ProgressLine* line = nullptr;
  ScanRecorder recorder(writer, path, [&](std::string_view message) { line->Tell(message); });
  WalkOptions walkOptions{.jobs = options.jobs != 0 ? options.jobs : DefaultJobs(root.get()),
                          .cross = options.cross,
                          .leftOut = output.OwnFiles(),
                          .form = writer.form()};
  for (const std::string& pattern : options.excludes) walkOptions.excludes.Add(pattern);
  TreeWalk walk(std::move(root), std::move(walkOptions), recorder);
  ScanProgress progress(walk, recorder);
  ProgressLine shown([&](auto elapsed) { return progress.Text(elapsed); });
  line = &shown;
  {
    const SignalThread hears;
    walk.Run();
  }
  recorder.Finish(walk.owners());
  shown.Stop();
  if (!output.Finish(writer)) return kExitFailed;
  output.TellResult(writer, Remark(recorder, walk));
  if (recorder.unreadable() == 0) return kExitDone;
  std::fprintf(stderr, "mkdtl: %s entries could not be read\n",
               Grouped(recorder.unreadable()).c_str());
  return kExitIncomplete;
}

}  // namespace tabulon
