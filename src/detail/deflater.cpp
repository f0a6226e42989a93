#include "detail/deflater.h"

#include <cstdlib>

#include "base/memory.h"

namespace tabulon {
namespace {

constexpr uInt kOutputSize = 0x80000;
constexpr int kRawWindowBits = -15;  // negative: without zlib's header and trailer
constexpr int kMemoryLevel = 8;

void* Allocate(void*, uInt count, uInt size) {
  return GetMem(size_t{count} * size, L"zlib").release();
}
void Release(void*, void* memory) {
  std::free(memory);
}

}  // namespace

std::array<char, 4> ZlibTrailer(uint32_t checksum) {
  std::array<char, 4> bytes{};
  for (char& byte : bytes) {
    byte = static_cast<char>(checksum >> 24);
    checksum <<= 8;
  }
  return bytes;
}

Deflater::Deflater(int level)
    : checksum_(adler32(0, nullptr, 0)),
      output_(std::make_unique_for_overwrite<char[]>(kOutputSize)) {
  stream_.zalloc = Allocate;
  stream_.zfree = Release;
  status_ =
      deflateInit2(&stream_, level, Z_DEFLATED, kRawWindowBits, kMemoryLevel, Z_DEFAULT_STRATEGY);
}

bool Deflater::Put(std::string_view bytes, bool last, const Sink& sink) {
  auto* input = reinterpret_cast<Bytef*>(const_cast<char*>(bytes.data()));
  // Without bytes zlib takes the call for a new sum.
  if (!bytes.empty()) checksum_ = adler32(checksum_, input, static_cast<uInt>(bytes.size()));
  stream_.next_in = input;
  stream_.avail_in = static_cast<uInt>(bytes.size());
  do {
    stream_.next_out = reinterpret_cast<Bytef*>(output_.get());
    stream_.avail_out = kOutputSize;
    status_ = deflate(&stream_, last ? Z_FINISH : Z_NO_FLUSH);
    if (status_ == Z_BUF_ERROR) status_ = Z_OK;  // there was nothing left to do
    if (status_ < 0) return false;
    if (!sink({output_.get(), kOutputSize - stream_.avail_out})) return false;
  } while (stream_.avail_out == 0);
  return true;
}

}  // namespace tabulon
