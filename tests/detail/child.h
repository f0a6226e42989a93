// Runs a piece of a test in a process of its own: to see its streams and status whole, to kill it
// at any system call, or to have any system call on files fail.
#pragma once

#include <fcntl.h>
#include <sys/ptrace.h>
#include <sys/syscall.h>
#include <sys/user.h>

#include <algorithm>
#include <csignal>
#include <functional>
#include <string>

#include "base/loganderr.h"
#include "support.h"

namespace tabulon {

namespace child_internal {

inline void Redirect(int fd, const std::string& path) {
  dup2(open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600), fd);
}

// The child leaves without the checks at the end of a program, which do not work under a tracer.
[[noreturn]] inline void RunBody(const std::function<void()>& body) {
  on_exit([](int status, void*) { _exit(status); }, nullptr);
  OpenLogErrFiles(0, nullptr, nullptr);
  body();
  CloseLogErrFiles();
  std::exit(0);
}

inline pid_t Fork() {
  fflush(nullptr);
  const pid_t child = fork();
  if (child < 0) throw std::system_error(errno, std::generic_category(), "fork");
  return child;
}

}  // namespace child_internal

inline RunResult RunInChild(const std::function<void()>& body) {
  const TempDir dir;
  const pid_t child = child_internal::Fork();
  if (child == 0) {
    child_internal::Redirect(STDOUT_FILENO, dir / "out");
    child_internal::Redirect(STDERR_FILENO, dir / "err");
    child_internal::RunBody(body);
  }
  int status = 0;
  waitpid(child, &status, 0);
  return {.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status),
          .out = ReadFile(dir / "out"),
          .err = ReadFile(dir / "err")};
}

enum class Mishap { kKill, kFail };

#ifdef __x86_64__

namespace child_internal {

inline bool WorksOnFiles(unsigned long long call) {
  constexpr unsigned long long calls[] = {
      SYS_open,      SYS_openat, SYS_read,   SYS_pread64,    SYS_write,  SYS_close,     SYS_fsync,
      SYS_stat,      SYS_lstat,  SYS_fstat,  SYS_newfstatat, SYS_access, SYS_faccessat, SYS_rename,
      SYS_renameat2, SYS_link,   SYS_unlink, SYS_fchmod,     SYS_fchown, SYS_faccessat2};
  return std::find(std::begin(calls), std::end(calls), call) != std::end(calls);
}

// Lets the stopped child go on to its next stop; false when it has ended.
inline bool GoOn(pid_t child, int& status) {
  ptrace(PTRACE_SYSCALL, child, 0, 0);
  waitpid(child, &status, 0);
  return WIFSTOPPED(status);
}

}  // namespace child_internal

// Runs `body` until its `n`th system call on files (from 0), which is where the mishap happens: the
// process is killed before it, or the call fails with EIO. Returns the wait status; `reached` tells
// whether there were as many calls.
inline int RunWithMishap(const std::function<void()>& body, Mishap mishap, int n, bool& reached) {
  using namespace child_internal;
  const pid_t child = Fork();
  if (child == 0) {
    Redirect(STDOUT_FILENO, "/dev/null");
    Redirect(STDERR_FILENO, "/dev/null");
    if (ptrace(PTRACE_TRACEME, 0, 0, 0) != 0) _exit(99);
    raise(SIGSTOP);
    RunBody(body);
  }
  int status = 0;
  waitpid(child, &status, 0);
  int seen = 0;
  reached = false;
  while (GoOn(child, status)) {
    user_regs_struct regs{};
    ptrace(PTRACE_GETREGS, child, 0, &regs);
    const bool here = !reached && WorksOnFiles(regs.orig_rax) && seen++ == n;
    if (here && mishap == Mishap::kFail) {
      regs.orig_rax = static_cast<unsigned long long>(-1);
      ptrace(PTRACE_SETREGS, child, 0, &regs);
    }
    if (here && mishap == Mishap::kKill) kill(child, SIGKILL);
    if (!GoOn(child, status)) break;
    if (here && mishap == Mishap::kFail) {
      ptrace(PTRACE_GETREGS, child, 0, &regs);
      regs.rax = static_cast<unsigned long long>(-EIO);
      ptrace(PTRACE_SETREGS, child, 0, &regs);
    }
    reached = reached || here;
  }
  reached = reached || WIFSIGNALED(status);
  return status;
}

#endif

}  // namespace tabulon
