// What a compressed detail file is made of: kZlibMark (detail/filecompress.h), raw deflate data
// (RFC 1951) and a checksum. zlib's own streams would begin with other level bits (0x78 0xDA at
// level 9), and readers know compressed files by the mark.
#pragma once

#include <zlib.h>

#include <array>
#include <cstdint>
#include <functional>
#include <memory>
#include <string_view>

namespace tabulon {

// The last four bytes, for the Adler-32 checksum of the plain bytes.
std::array<char, 4> ZlibTrailer(uint32_t checksum);

// Makes the deflate data of a stream, in a bounded amount of memory. Exhausted memory ends the run.
class Deflater {
 public:
  // Takes the next bytes of the stream; false when it cannot.
  using Sink = std::function<bool(std::string_view bytes)>;

  explicit Deflater(int level);
  ~Deflater() { deflateEnd(&stream_); }
  Deflater(const Deflater&) = delete;
  Deflater& operator=(const Deflater&) = delete;

  // Compresses `bytes`, less than 4 GiB; `last` ends the data. False when the sink has failed (with
  // its errno), or zlib (status() is below zero).
  bool Put(std::string_view bytes, bool last, const Sink& sink);

  // Of all bytes so far.
  uint32_t checksum() const { return static_cast<uint32_t>(checksum_); }
  // What zlib returned last.
  int status() const { return status_; }

 private:
  z_stream stream_{};
  uLong checksum_;
  int status_;
  std::unique_ptr<char[]> output_;
};

}  // namespace tabulon
