// A terminal for tests: what is written to its line shows on its screen.
#pragma once

#include <poll.h>
#include <pty.h>
#include <unistd.h>

#include <cstdint>
#include <string>
#include <utility>

#include "base/fileio.h"

namespace tabulon {

class Terminal {
 public:
  Terminal() {
    int screen = -1, line = -1;
    if (openpty(&screen, &line, nullptr, nullptr, nullptr) != 0) return;
    screen_ = UniqueFd(screen);
    line_ = UniqueFd(line);
  }

  // False where the system gives no terminals (/dev/pts is missing): such a test is to be skipped.
  bool exists() const { return screen_.valid(); }
  int line() const { return line_.get(); }
  // Leaves the line to the others who hold it.
  UniqueFd TakeLine() { return std::move(line_); }

  // What shows, once it is so many bytes or, without a number, nobody holds the line any more. The
  // system passes on what was written in its own time, even behind the end of the writer.
  std::string Shown(size_t bytes = SIZE_MAX) {
    constexpr int kMilliseconds = 10'000;  // beyond any delay; a wait that long is a failure
    std::string text;
    for (pollfd screen{screen_.get(), POLLIN, 0};
         poll(&screen, 1, text.size() < bytes ? kMilliseconds : 0) > 0;) {
      char part[4096];
      const ssize_t got = read(screen_.get(), part, sizeof part);
      if (got <= 0) break;
      text.append(part, static_cast<size_t>(got));
    }
    return text;
  }

 private:
  UniqueFd screen_;
  UniqueFd line_;
};

}  // namespace tabulon

// For the body of a test.
#define REQUIRE_TERMINAL(terminal) \
  if (!(terminal).exists()) GTEST_SKIP() << "the system gives no terminal (/dev/pts is missing?)"
