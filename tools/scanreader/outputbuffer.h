// Bytes on their way to a descriptor, in a buffer that is written when it has filled up.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <type_traits>
#include <vector>

#include "base/decimal.h"

namespace tabulon {

class OutputBuffer {
 public:
  explicit OutputBuffer(int fd);
  OutputBuffer(const OutputBuffer&) = delete;
  OutputBuffer& operator=(const OutputBuffer&) = delete;

  void Put(char byte) {
    Reserve(1);
    *at_++ = byte;
  }
  void Raw(std::string_view bytes) {
    Reserve(bytes.size());
    at_ += bytes.copy(at_, bytes.size());
  }
  template <class Integer>
  void Decimal(Integer value) {
    Reserve(kLongestDecimal);
    at_ = std::is_signed_v<Integer> ? PutSigned(at_, static_cast<int64_t>(value))
                                    : PutDecimal(at_, static_cast<uint64_t>(value));
  }
  // Takes back the byte put last when it is this one.
  void DropLast(char byte) {
    if (at_[-1] == byte) --at_;
  }

  // To be called where the output may be cut: writes what the buffer holds when there is much.
  void FlushWhenNearlyFull() {
    if (static_cast<size_t>(at_ - buffer_.data()) > kBufferSize - kBufferSize / 4) Flush();
  }
  // Writes what the buffer holds. A failure ends the run with its message and status 1.
  void Flush();

 private:
  static constexpr size_t kBufferSize = size_t{1} << 20;

  void Reserve(size_t size) {
    if (static_cast<size_t>(end_ - at_) < size) Grow(size);
  }
  void Grow(size_t size);

  int fd_;
  std::vector<char> buffer_;
  char* at_;
  char* end_;
};

}  // namespace tabulon
