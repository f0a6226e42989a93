// The compressed form of a detail file: the whole file as one zlib stream (RFC 1950), whose first
// two bytes are always 0x78 0x01 (kZlibMark), so that readers recognise the form. It is put
// together from these bytes, raw deflate data (RFC 1951) and a checksum: zlib's own streams would
// begin with other level bits (0x78 0xDA at level 9). Files of any size pass through two fixed
// buffers.
#pragma once

#include <zlib.h>

#include <array>
#include <cstdint>
#include <functional>
#include <memory>
#include <string_view>

namespace tabulon {

// The first two bytes of a compressed detail file.
inline constexpr char kZlibMark[2] = {0x78, 0x01};
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

// How the inflating of a file ended. What went wrong has been told on standard output; errno is
// set.
struct Inflated {
  enum Outcome { kWhole, kSourceFailed, kTargetFailed };
  Outcome outcome = kWhole;
  uint64_t bytesAfter = 0;  // of the source, after the end of the zlib stream
};

// Inflates the open file `from`, from its first byte to the end that it has now, into `to`. When
// the source is damaged or cannot be read (kSourceFailed), `to` holds what could be inflated of it.
Inflated InflateStream(int from, int to);

}  // namespace tabulon
