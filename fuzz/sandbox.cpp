#include "fuzz/sandbox.h"

#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <csignal>
#include <cstdlib>
#include <new>
#include <utility>

#include "base/fileio.h"

// Heap accounting comes with the sanitizers' run-time library; without it there is none.
extern "C" {
[[gnu::weak]] int __sanitizer_install_malloc_and_free_hooks(void (*)(const volatile void*, size_t),
                                                            void (*)(const volatile void*));
[[gnu::weak]] size_t __sanitizer_get_allocated_size(const volatile void*);
[[gnu::weak]] void __lsan_do_leak_check();

const char* __asan_default_options();
const char* __ubsan_default_options();
// Lets the sanitizer keep only little of the freed memory, as fork copies the tables of all of it.
const char* __asan_default_options() {
  return "exitcode=99:quarantine_size_mb=8";
}
const char* __ubsan_default_options() {
  return "exitcode=99";
}
}

namespace tabulon {

struct Sandbox::Shared {
  std::atomic<uint64_t> heap = 0;
  std::atomic<uint64_t> peakHeap = 0;
};

namespace {

constexpr rlim_t kSecondsAtMost = 20;  // of processor time; far beyond what any test allows

std::atomic<uint64_t>* heapNow = nullptr;
std::atomic<uint64_t>* heapPeak = nullptr;

void CountAllocation(const volatile void*, size_t size) {
  const uint64_t now = heapNow->fetch_add(size, std::memory_order_relaxed) + size;
  uint64_t peak = heapPeak->load(std::memory_order_relaxed);
  while (now > peak && !heapPeak->compare_exchange_weak(peak, now)) continue;
}

void CountRelease(const volatile void* memory) {
  const size_t size = memory != nullptr ? __sanitizer_get_allocated_size(memory) : 0;
  // Some were allocated before the counting.
  uint64_t now = heapNow->load(std::memory_order_relaxed);
  while (!heapNow->compare_exchange_weak(now, now - std::min<uint64_t>(size, now))) continue;
}

// Begins the counting; can be called once in a process.
void CountHeap(std::atomic<uint64_t>& now, std::atomic<uint64_t>& peak) {
  heapNow = &now;
  heapPeak = &peak;
  if (__sanitizer_install_malloc_and_free_hooks != nullptr) {
    __sanitizer_install_malloc_and_free_hooks(CountAllocation, CountRelease);
  }
}

std::string TakeText(int fd) {
  std::string text(static_cast<size_t>(lseek(fd, 0, SEEK_END)), '\0');
  text.resize(static_cast<size_t>(ReadFullyAt(fd, text.data(), text.size(), 0)));
  if (ftruncate(fd, 0) == 0) lseek(fd, 0, SEEK_SET);
  return text;
}

}  // namespace

std::filesystem::path FastDirectory() {
  constexpr const char* kInMemory = "/dev/shm";
  constexpr uintmax_t kRoom = 1U << 30;
  std::error_code none;
  const bool usable = access(kInMemory, W_OK | X_OK) == 0 &&
                      std::filesystem::space(kInMemory, none).available >= kRoom && !none;
  return usable ? kInMemory : std::filesystem::temp_directory_path();
}

std::string Differences(const FileMap& a, const FileMap& b) {
  std::string names;
  for (const auto& [from, to] : {std::pair(&a, &b), std::pair(&b, &a)}) {
    for (const auto& [name, bytes] : *from) {
      const auto other = to->find(name);
      if (other == to->end() || other->second != bytes) names += name + ' ';
    }
  }
  return names;
}

uint64_t SweepStep(uint64_t cases, uint64_t tries) {
  const bool full = std::getenv("TABULON_FULL") != nullptr;
  return full ? 1 : std::max<uint64_t>(1, cases / tries);
}

std::string Outcome::Told() const {
  const bool begun = err.starts_with("Scan time: ");
  return begun ? err.substr(std::min(err.find('\n'), err.size() - 1) + 1) : err;
}

Sandbox::Sandbox()
    : out_(memfd_create("out", MFD_CLOEXEC)),
      err_(memfd_create("err", MFD_CLOEXEC)),
      shared_(new (mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS,
                        -1, 0)) Shared) {}

Sandbox::~Sandbox() {
  munmap(shared_, sizeof(Shared));
  close(err_);
  close(out_);
}

void Sandbox::Clear() {
  for (const std::string& name : dir_.Entries()) std::filesystem::remove_all(dir_ / name);
}

FileMap Sandbox::Files() const {
  FileMap files;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(dir_.path())) {
    if (entry.is_regular_file() && !entry.path().filename().string().starts_with("sdtem")) {
      files[entry.path().lexically_relative(dir_.path())] = ReadFile(entry.path());
    }
  }
  return files;
}

Outcome Sandbox::Run(const std::vector<std::string>& args, const std::function<void()>& prepare,
                     bool leaks) {
  return Wait(Start(args, prepare, leaks));
}

pid_t Sandbox::Start(const std::vector<std::string>& args, const std::function<void()>& prepare,
                     bool leaks) {
  shared_->heap = shared_->peakHeap = 0;
  fflush(nullptr);
  const pid_t child = fork();
  if (child == 0) BecomeProgram(args, prepare, leaks);
  return child;
}

Outcome Sandbox::Wait(pid_t run, const std::function<void()>& whenStopped) {
  int status = 0;
  rusage used{};
  while (wait4(run, &status, WUNTRACED, &used) == run && WIFSTOPPED(status)) {
    if (whenStopped) whenStopped();
    kill(run, SIGCONT);
  }
  const auto seconds = [](const timeval& time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
  };
  return {.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1,
          .signal = WIFSIGNALED(status) ? WTERMSIG(status) : 0,
          .seconds = seconds(used.ru_utime) + seconds(used.ru_stime),
          .peakHeap = shared_->peakHeap,
          .out = TakeText(out_),
          .err = TakeText(err_)};
}

void Sandbox::BecomeProgram(const std::vector<std::string>& args,
                            const std::function<void()>& prepare, bool leaks) {
  // Runs after the program's own exit handlers and before the search for leaks.
  const bool checksLeaks = __lsan_do_leak_check != nullptr;
  if (checksLeaks && !leaks) on_exit([](int status, void*) { _exit(status); }, nullptr);
  const rlimit limit{kSecondsAtMost, kSecondsAtMost};
  setrlimit(RLIMIT_CPU, &limit);
  if (chdir(dir_.path().c_str()) != 0) _exit(98);
  setenv("TMPDIR", dir_.path().c_str(), 1);
  setenv("LC_ALL", "C.UTF-8", 1);
  setenv("TZ", "UTC", 1);
  dup2(out_, STDOUT_FILENO);
  dup2(err_, STDERR_FILENO);
  std::vector<char*> argv = {const_cast<char*>("tabulon")};
  for (const std::string& arg : args) argv.push_back(const_cast<char*>(arg.c_str()));
  if (prepare) prepare();
  CountHeap(shared_->heap, shared_->peakHeap);
  std::exit(tabulon::Run(argv, tuning));
}

}  // namespace tabulon
