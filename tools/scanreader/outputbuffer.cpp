#include "tools/scanreader/outputbuffer.h"

#include "base/fileio.h"
#include "base/loganderr.h"

namespace tabulon {

OutputBuffer::OutputBuffer(int fd) : fd_(fd) {
  buffer_.resize(kBufferSize);
  at_ = buffer_.data();
  end_ = at_ + buffer_.size();
}

void OutputBuffer::Flush() {
  const auto size = static_cast<size_t>(at_ - buffer_.data());
  if (!WriteFully(fd_, buffer_.data(), size)) PosixErrExit(0, L"Error writing the rows\n");
  at_ = buffer_.data();
}

// Only a row with huge texts comes here.
void OutputBuffer::Grow(size_t size) {
  const auto used = static_cast<size_t>(at_ - buffer_.data());
  buffer_.resize(2 * used + size);
  at_ = buffer_.data() + used;
  end_ = buffer_.data() + buffer_.size();
}

}  // namespace tabulon
