// Makes chosen system calls and allocations of this process go wrong. The calls are caught at link
// time (--wrap), so that the sanitizers stay in use. Calls that the C library makes itself are not
// caught.
#pragma once

#include <cstdint>

namespace tabulon {

// What is counted: one of these, or several or-ed.
inline constexpr uint32_t kCallOpen = 0x1;     // open, mkdir
inline constexpr uint32_t kCallRead = 0x2;     // read, pread
inline constexpr uint32_t kCallWrite = 0x4;    // write, pwrite, ftruncate
inline constexpr uint32_t kCallSync = 0x8;     // fsync
inline constexpr uint32_t kCallClose = 0x10;   // close
inline constexpr uint32_t kCallName = 0x20;    // unlink, rename, link
inline constexpr uint32_t kCallMemory = 0x40;  // operator new, calloc, mmap
inline constexpr uint32_t kAnyFileCall = 0x3F;
inline constexpr uint32_t kCallLock = 0x80;   // flock
inline constexpr uint32_t kCallLook = 0x100;  // stat, lstat, fstat, access

enum class Mishap {
  kFails,         // with `errnum`; a close or an unlink is done all the same
  kShort,         // a read or write moves half of what it was asked for (one byte at least)
  kLeavesHole,    // write leaves a hole in the file instead: offsets grow, the disk does not fill
  kKilledBefore,  // `errnum` is a signal, raised before the call; SIGSTOP makes the process wait
  kKilledAfter,   // or after it
};

inline constexpr uint64_t kNever = UINT64_MAX;

struct Fault {
  uint32_t calls = 0;
  Mishap mishap = Mishap::kFails;
  int errnum = 0;
  uint64_t n = 0;  // which call, from 1; 0 = all of them; kNever = none, they are counted
};

// A number that this process shares with its children.
class SharedCount {
 public:
  SharedCount();
  ~SharedCount();
  SharedCount(const SharedCount&) = delete;
  SharedCount& operator=(const SharedCount&) = delete;
  volatile uint64_t* get() { return number_; }

 private:
  volatile uint64_t* number_;
};

// From here on the fault waits in this process. Calls on the standard streams count, too. Every
// call that counts is added to `*seen`.
void ArmFault(const Fault& fault, volatile uint64_t* seen);

}  // namespace tabulon
