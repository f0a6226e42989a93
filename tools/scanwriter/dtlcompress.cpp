#include "tools/scanwriter/dtlcompress.h"

#include <zlib.h>

#include <cerrno>
#include <cstring>
#include <vector>

namespace tabulon {
namespace {

constexpr size_t kChunk = 512 * 1024;
constexpr int kLevel = 9;
constexpr int kRawWindow = -15;  // negative: deflate data without header and trailer
constexpr int kMemoryLevel = 8;

// Owner of zlib's compression state. zlib would write the header bytes 0x78 0xDA for level 9, so
// header and trailer are written here, around raw deflate data.
class Deflater {
 public:
  Deflater() {
    if (deflateInit2(&stream_, kLevel, Z_DEFLATED, kRawWindow, kMemoryLevel, Z_DEFAULT_STRATEGY) !=
        Z_OK) {
      throw std::bad_alloc();
    }
  }
  ~Deflater() { deflateEnd(&stream_); }
  Deflater(const Deflater&) = delete;
  Deflater& operator=(const Deflater&) = delete;

  // Compresses `bytes`; `last` ends the deflate data.
  bool Put(std::string_view bytes, bool last, DtlSink& sink) {
    auto* input = reinterpret_cast<Bytef*>(const_cast<char*>(bytes.data()));
    checksum_ = adler32(checksum_, input, static_cast<uInt>(bytes.size()));
    stream_.next_in = input;
    stream_.avail_in = static_cast<uInt>(bytes.size());
    do {
      stream_.next_out = reinterpret_cast<Bytef*>(output_.data());
      stream_.avail_out = static_cast<uInt>(output_.size());
      deflate(&stream_, last ? Z_FINISH : Z_NO_FLUSH);
      if (!sink.Append({output_.data(), output_.size() - stream_.avail_out})) return false;
    } while (stream_.avail_out == 0);
    return true;
  }
  uLong checksum() const { return checksum_; }

 private:
  z_stream stream_{};
  uLong checksum_ = adler32(0, nullptr, 0);
  std::vector<char> output_ = std::vector<char>(kChunk);
};

}  // namespace

bool CompressDtl(const PlainSource& source, DtlSink& sink) {
  Deflater deflater;
  if (!sink.Append("\x78\x01")) return false;
  std::vector<char> input(kChunk);
  for (;;) {
    const ssize_t got = source(input.data(), input.size());
    if (got < 0) return false;
    if (!deflater.Put({input.data(), static_cast<size_t>(got)}, got == 0, sink)) return false;
    if (got == 0) break;
  }
  std::string trailer;
  for (int shift = 24; shift >= 0; shift -= 8) {
    trailer += static_cast<char>(deflater.checksum() >> shift);
  }
  return sink.Append(trailer);
}

}  // namespace tabulon
