// A forward cursor over a section of counted entries. Every count and length in such a section may
// be a lie, so the cursor knows how much the file holds and hands out nothing beyond it.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <string_view>

#include "base/bytes.h"
#include "detail/filewindow.h"
#include "detail/securityobjects.h"

namespace tabulon {

class SectionReader {
 public:
  SectionReader(int fd, uint64_t position) : window_(fd), position_(position) {}

  uint64_t position() const { return position_; }
  // Bytes between the cursor and the end of the file.
  uint64_t left() const {
    return window_.fileSize() > position_ ? window_.fileSize() - position_ : 0;
  }

  // Calls use(std::string_view) with the next `size` bytes, in pieces. False, with nothing used,
  // when the file holds fewer.
  template <class Use>
  bool Consume(uint64_t size, Use use) {
    if (size > left()) return false;
    while (size > 0) {
      const auto part = static_cast<size_t>(std::min<uint64_t>(size, FileWindow::kBlock));
      size_t available = 0;
      const unsigned char* bytes = window_.At(position_, part, available);
      if (available < part) return false;  // the file has shrunk
      use(std::string_view(reinterpret_cast<const char*>(bytes), part));
      position_ += part;
      size -= part;
    }
    return true;
  }

  bool Skip(uint64_t size) {
    return Consume(size, [](std::string_view) {});
  }
  // Copies the next `size` bytes to `to`, which has room for them.
  bool Read(void* to, uint64_t size) {
    auto* next = static_cast<char*>(to);
    return Consume(size, [&](std::string_view piece) {
      std::memcpy(next, piece.data(), piece.size());
      next += piece.size();
    });
  }
  template <size_t N>
  bool Read(std::array<unsigned char, N>& to) {
    return Read(to.data(), N);
  }
  bool ReadU32(uint32_t& value) {
    std::array<unsigned char, sizeof value> bytes;
    if (!Read(bytes)) return false;
    value = LoadU32(bytes.data());
    return true;
  }

  // Reads `size` bytes of 4-byte units into memory of `pool`; the text ends at its first zero unit.
  bool ReadText(uint32_t size, Pool& pool, std::wstring_view& text);

 private:
  FileWindow window_;
  uint64_t position_;
};

}  // namespace tabulon
