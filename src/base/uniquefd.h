// Owner of a file descriptor.
#pragma once

#include <unistd.h>

#include <utility>

namespace tabulon {

class UniqueFd {
 public:
  UniqueFd() = default;
  explicit UniqueFd(int fd) : fd_(fd) {}
  UniqueFd(UniqueFd&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
  UniqueFd& operator=(UniqueFd&& other) noexcept {
    if (this != &other) {
      Reset();
      fd_ = std::exchange(other.fd_, -1);
    }
    return *this;
  }
  ~UniqueFd() { Reset(); }

  int get() const { return fd_; }
  bool valid() const { return fd_ >= 0; }
  int Release() { return std::exchange(fd_, -1); }
  // Closes the descriptor; returns close's result, 0 when there was none.
  int Reset() {
    const int fd = std::exchange(fd_, -1);
    return fd >= 0 ? close(fd) : 0;
  }

 private:
  int fd_ = -1;
};

}  // namespace tabulon
