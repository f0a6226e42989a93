// Threads that share the work of a run.
#pragma once

#include <cstddef>
#include <filesystem>
#include <functional>
#include <string_view>

namespace tabulon {

// More threads gain little: memory answers no faster.
inline constexpr size_t kMostThreads = 16;

// The processors of this process's affinity mask.
size_t AllowedProcessors();

// The processors that this process may keep busy, 1 to kMostThreads: those of its affinity mask
// (sched_setaffinity(2), taskset(1)), as far as the quotas of its control groups go (cgroups(7)).
size_t UsableProcessors();

// The processors that the quotas of control groups leave, rounded up; SIZE_MAX when there is none.
// `memberships` is the text of /proc/self/cgroup, `root` the directory /sys/fs/cgroup.
size_t QuotaProcessors(std::string_view memberships, const std::filesystem::path& root);

// Has the processor wait a moment, to be called between looks at what another thread will change.
inline void PauseProcessor() {
#if defined(__x86_64__)
  __builtin_ia32_pause();
#elif defined(__aarch64__)
  asm volatile("yield");
#endif
}

// Calls work(0) to work(threads - 1), each on a thread of its own, the first on the calling one,
// and returns when all have returned. Signals to the process are left to the calling thread. For
// what the calls may write to the logs see SideBySide.
//
// What the first call to fail throws is thrown again here; the calls that are under way have to
// notice by themselves that they need not go on. When the system gives fewer threads, the calling
// thread makes the calls that are left, one after the other: no call may wait for a later one.
void OnThreads(size_t threads, const std::function<void(size_t thread)>& work);

// Calls work(thread, piece) for the pieces 0 to pieces - 1. A thread takes the next one, in
// ascending order, when it is done with its last. After a call that throws no further piece is
// taken, and it is thrown again here.
void ShareOut(size_t threads, size_t pieces,
              const std::function<void(size_t thread, size_t piece)>& work);

}  // namespace tabulon
