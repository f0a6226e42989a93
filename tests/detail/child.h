// Runs a piece of a test in a process of its own: to see its streams and status whole, and to have
// it killed or a call fail there.
#pragma once

#include <fcntl.h>

#include <cstdio>
#include <functional>
#include <string>

#include "base/loganderr.h"
#include "support.h"

namespace tabulon {

inline RunResult RunInChild(const std::function<void()>& body) {
  const TempDir dir;
  Console().Flush();
  std::fflush(nullptr);  // or the child would write the buffers, too
  const pid_t child = fork();
  if (child < 0) throw std::system_error(errno, std::generic_category(), "fork");
  if (child == 0) {
    dup2(open((dir / "out").c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600), STDOUT_FILENO);
    dup2(open((dir / "err").c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600), STDERR_FILENO);
    try {
      body();
      std::exit(CloseLogErrFiles() ? 0 : 1);
    } catch (const EndOfRun& end) {
      std::exit(end.status);
    }
  }
  int status = 0;
  waitpid(child, &status, 0);
  return {.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status),
          .out = ReadFile(dir / "out"),
          .err = ReadFile(dir / "err")};
}

}  // namespace tabulon
