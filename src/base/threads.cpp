#include "base/threads.h"

#include <sched.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <charconv>
#include <csignal>
#include <cstdint>
#include <exception>
#include <fstream>
#include <iterator>
#include <mutex>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

#include "base/loganderr.h"
#include "base/signalsblocked.h"

namespace tabulon {
namespace {

std::string TextOf(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

// Cuts the text up to `end` off the front of `rest`.
std::string_view TakeUpTo(std::string_view& rest, char end) {
  const size_t at = std::min(rest.find(end), rest.size());
  const std::string_view part = rest.substr(0, at);
  rest.remove_prefix(std::min(at + 1, rest.size()));
  return part;
}

// The number at the front of a text; 0 when there is none ("max", "-1").
uint64_t NumberIn(std::string_view text) {
  uint64_t number = 0;
  std::from_chars(text.data(), text.data() + text.size(), number);
  return number;
}

// `quota` microseconds of processor time in each `period`.
size_t Processors(uint64_t quota, uint64_t period) {
  if (quota == 0 || period == 0) return SIZE_MAX;
  return static_cast<size_t>(std::max<uint64_t>((quota - 1) / period + 1, 1));
}

// The quota of one control group: of version 2 "QUOTA PERIOD" in one file, of version 1 two files.
size_t QuotaOf(const std::filesystem::path& group, bool version2) {
  if (version2) {
    const std::string text = TextOf(group / "cpu.max");
    std::string_view rest = text;
    const std::string_view quota = TakeUpTo(rest, ' ');
    return Processors(NumberIn(quota), NumberIn(rest));
  }
  return Processors(NumberIn(TextOf(group / "cpu.cfs_quota_us")),
                    NumberIn(TextOf(group / "cpu.cfs_period_us")));
}

// The smallest quota of a control group and those above it. What a container shows may be the part
// of the tree below its own group, while its membership names the whole path: groups that are not
// there are passed over.
size_t QuotaAlong(const std::filesystem::path& root, std::filesystem::path group, bool version2) {
  size_t least = QuotaOf(root, version2);
  for (group = group.relative_path(); !group.empty(); group = group.parent_path()) {
    least = std::min(least, QuotaOf(root / group, version2));
  }
  return least;
}

}  // namespace

size_t AllowedProcessors() {
  std::array<cpu_set_t, 16> allowed{};  // the kernel refuses a mask smaller than its own
  if (sched_getaffinity(0, sizeof allowed, allowed.data()) != 0) return 1;
  return static_cast<size_t>(CPU_COUNT_S(sizeof allowed, allowed.data()));
}

size_t QuotaProcessors(std::string_view memberships, const std::filesystem::path& root) {
  size_t least = SIZE_MAX;
  while (!memberships.empty()) {  // "0::/user.slice" or "4:cpu,cpuacct:/user.slice"
    std::string_view line = TakeUpTo(memberships, '\n');
    TakeUpTo(line, ':');
    std::string_view controllers = TakeUpTo(line, ':');
    if (controllers.empty()) least = std::min(least, QuotaAlong(root, line, true));
    const std::string mount(controllers);
    while (!controllers.empty()) {
      if (TakeUpTo(controllers, ',') != "cpu") continue;
      least = std::min(least, QuotaAlong(root / mount, line, false));
    }
  }
  return least;
}

size_t UsableProcessors() {
  const size_t quota = QuotaProcessors(TextOf("/proc/self/cgroup"), "/sys/fs/cgroup");
  return std::clamp<size_t>(std::min(AllowedProcessors(), quota), 1, kMostThreads);
}

void OnThreads(size_t threads, const std::function<void(size_t thread)>& work) {
  const SideBySide logs;
  std::mutex guard;  // of the failure
  std::exception_ptr failure;
  const auto call = [&](size_t thread) {
    try {
      work(thread);
    } catch (...) {
      const std::lock_guard lock(guard);
      if (!failure) failure = std::current_exception();
    }
  };
  std::vector<std::jthread> others;
  try {
    const SignalsBlocked blocked(kOwnSignals);
    while (others.size() + 1 < threads) others.emplace_back(call, others.size() + 1);
  } catch (const std::system_error&) {
    // Fewer threads do the same work.
  }
  const size_t started = others.size() + 1;
  call(0);
  for (size_t left = started; left < threads; ++left) call(left);
  others.clear();
  if (failure) std::rethrow_exception(failure);
}

void ShareOut(size_t threads, size_t pieces,
              const std::function<void(size_t thread, size_t piece)>& work) {
  std::atomic<size_t> next = 0;
  OnThreads(std::min(threads, std::max<size_t>(pieces, 1)), [&](size_t thread) {
    try {
      for (size_t piece = next++; piece < pieces; piece = next++) work(thread, piece);
    } catch (...) {
      next = pieces;
      throw;
    }
  });
}

}  // namespace tabulon
