#include "fuzz/faults.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstdlib>
#include <new>

namespace tabulon {
namespace {

Fault fault;
volatile uint64_t* calls = nullptr;  // null = nothing is armed

// Whether the fault hits this call. Counts the call when it is of the fault's kind.
bool ComesNow(uint32_t call) {
  if (calls == nullptr || (fault.calls & call) == 0) return false;
  const uint64_t number = __atomic_add_fetch(calls, 1, __ATOMIC_RELAXED);
  return fault.n == 0 || number == fault.n;
}

// As from outside: whatever thread makes the call, the process gets the signal.
void Signal() {
  kill(getpid(), fault.errnum);
}

// A call that the fault may hit: `fail` is its result when it fails.
template <class Result, class Real>
Result Guarded(uint32_t call, Result fail, Real real, bool doneAnyway = false) {
  if (!ComesNow(call)) return real();
  if (fault.mishap == Mishap::kKilledBefore) Signal();
  if (fault.mishap == Mishap::kShort) return real();
  if (fault.mishap == Mishap::kFails && !doneAnyway) {
    errno = fault.errnum;
    return fail;
  }
  const Result result = real();
  if (fault.mishap == Mishap::kKilledAfter) Signal();
  if (fault.mishap != Mishap::kFails) return result;
  errno = fault.errnum;
  return fail;
}

// The size that a transfer is cut to.
size_t Moved(uint32_t call, size_t size) {
  const bool cut = calls != nullptr && (fault.calls & call) != 0 &&
                   fault.mishap == Mishap::kShort && (fault.n == 0 || *calls == fault.n);
  return cut ? std::max<size_t>(size / 2, std::min<size_t>(size, 1)) : size;
}

void* NewMemory(size_t size, size_t alignment) {
  for (;;) {
    void* memory = Guarded<void*>(kCallMemory, nullptr, [&] {
      return std::aligned_alloc(
          alignment, (std::max<size_t>(size, 1) + alignment - 1) / alignment * alignment);
    });
    if (memory != nullptr) return memory;
    const std::new_handler handler = std::get_new_handler();
    if (handler == nullptr) throw std::bad_alloc();
    handler();
  }
}

}  // namespace

SharedCount::SharedCount()
    : number_(static_cast<volatile uint64_t*>(mmap(
          nullptr, sizeof(uint64_t), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0))) {}

SharedCount::~SharedCount() {
  munmap(const_cast<uint64_t*>(number_), sizeof(uint64_t));
}

void ArmFault(const Fault& chosen, volatile uint64_t* seen) {
  fault = chosen;
  *seen = 0;
  calls = seen;
}

}  // namespace tabulon

using namespace tabulon;

void* operator new(size_t size) {
  return NewMemory(size, __STDCPP_DEFAULT_NEW_ALIGNMENT__);
}
void* operator new(size_t size, std::align_val_t alignment) {
  return NewMemory(
      size, std::max<size_t>(static_cast<size_t>(alignment), __STDCPP_DEFAULT_NEW_ALIGNMENT__));
}
void* operator new[](size_t size) {
  return operator new(size);
}
void operator delete[](void* memory) noexcept {
  std::free(memory);
}
void operator delete[](void* memory, size_t) noexcept {
  std::free(memory);
}
void* operator new(size_t size, const std::nothrow_t&) noexcept {
  try {
    return operator new(size);
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}
void operator delete(void* memory, const std::nothrow_t&) noexcept {
  std::free(memory);
}
void operator delete(void* memory) noexcept {
  std::free(memory);
}
void operator delete(void* memory, size_t) noexcept {
  std::free(memory);
}
void operator delete(void* memory, std::align_val_t) noexcept {
  std::free(memory);
}
void operator delete(void* memory, size_t, std::align_val_t) noexcept {
  std::free(memory);
}

// One wrapper for each call: its result type, its name, its parameters, its arguments, its kind,
// its result when it fails, and whether it is done even then.
#define TABULON_WRAP(Result, name, parameters, arguments, call, fail, doneAnyway) \
  extern "C" Result __real_##name parameters;                                     \
  extern "C" Result __wrap_##name parameters;                                     \
  Result __wrap_##name parameters {                                               \
    return Guarded<Result>(                                                       \
        call, fail, [&] { return __real_##name arguments; }, doneAnyway);         \
  }

TABULON_WRAP(int, flock, (int fd, int operation), (fd, operation), kCallLock, -1, false)
TABULON_WRAP(int, mkdir, (const char* path, mode_t mode), (path, mode), kCallOpen, -1, false)
TABULON_WRAP(ssize_t, read, (int fd, void* to, size_t size), (fd, to, Moved(kCallRead, size)),
             kCallRead, -1, false)
TABULON_WRAP(ssize_t, pread64, (int fd, void* to, size_t size, off_t at),
             (fd, to, Moved(kCallRead, size), at), kCallRead, -1, false)
TABULON_WRAP(ssize_t, pwrite64, (int fd, const void* from, size_t size, off_t at),
             (fd, from, Moved(kCallWrite, size), at), kCallWrite, -1, false)
TABULON_WRAP(int, ftruncate64, (int fd, off_t size), (fd, size), kCallWrite, -1, false)
TABULON_WRAP(int, fsync, (int fd), (fd), kCallSync, -1, false)
TABULON_WRAP(int, close, (int fd), (fd), kCallClose, -1, true)
TABULON_WRAP(int, unlink, (const char* path), (path), kCallName, -1, false)
TABULON_WRAP(int, link, (const char* from, const char* to), (from, to), kCallName, -1, false)
TABULON_WRAP(int, rename, (const char* from, const char* to), (from, to), kCallName, -1, false)
TABULON_WRAP(int, access, (const char* path, int mode), (path, mode), kCallLook, -1, false)
TABULON_WRAP(int, stat64, (const char* path, struct stat64* info), (path, info), kCallLook, -1,
             false)
TABULON_WRAP(int, lstat64, (const char* path, struct stat64* info), (path, info), kCallLook, -1,
             false)
TABULON_WRAP(int, fstat64, (int fd, struct stat64* info), (fd, info), kCallLook, -1, false)
TABULON_WRAP(int, renameat2,
             (int fromDir, const char* from, int toDir, const char* to, unsigned flags),
             (fromDir, from, toDir, to, flags), kCallName, -1, false)
TABULON_WRAP(void*, calloc, (size_t count, size_t size), (count, size), kCallMemory, nullptr, false)
TABULON_WRAP(void*, mmap64,
             (void* at, size_t size, int protection, int flags, int fd, off_t offset),
             (at, size, protection, flags, fd, offset), kCallMemory, MAP_FAILED, false)

extern "C" ssize_t __real_write(int fd, const void* from, size_t size);
extern "C" ssize_t __wrap_write(int fd, const void* from, size_t size);
ssize_t __wrap_write(int fd, const void* from, size_t size) {
  return Guarded<ssize_t>(kCallWrite, -1, [&]() -> ssize_t {
    if (calls == nullptr || fault.calls != kCallWrite || fault.mishap != Mishap::kLeavesHole) {
      return __real_write(fd, from, Moved(kCallWrite, size));
    }
    return lseek(fd, static_cast<off_t>(size), SEEK_CUR) < 0 ? -1 : static_cast<ssize_t>(size);
  });
}

extern "C" int __real_open64(const char* path, int flags, ...);
extern "C" int __wrap_open64(const char* path, int flags, ...);
int __wrap_open64(const char* path, int flags, ...) {
  std::va_list rest;
  va_start(rest, flags);
  const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(rest, mode_t) : 0;
  va_end(rest);
  return Guarded<int>(kCallOpen, -1, [&] { return __real_open64(path, flags, mode); });
}
