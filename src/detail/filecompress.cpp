#include "detail/filecompress.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>

#include "base/fileio.h"
#include "base/loganderr.h"
#include "base/memory.h"

namespace tabulon {
namespace {

constexpr uInt kBufferSize = 0x80000;
constexpr int kWindowBits = 15;
constexpr int kRawWindowBits = -15;  // negative: without zlib's header and trailer
constexpr int kMemoryLevel = 8;

using Outcome = Inflated::Outcome;

void* Allocate(void*, uInt count, uInt size) {
  return GetMem(size_t{count} * size, L"zlib").release();
}
void Release(void*, void* memory) {
  std::free(memory);
}

// Tells a failure on standard output; errno stays as it is.
bool Told(WideFormat<> message) {
  const int errnum = errno;
  ConsoleEntry(Console(), message);
  errno = errnum;
  return false;
}

// The way from source to target: what is left of the source, and the buffers that zlib inflates
// from and into.
class Pipe {
 public:
  Pipe(int from, uint64_t size, int to) : from_(from), left_(size), to_(to) {
    zlib.zalloc = Allocate;
    zlib.zfree = Release;
    zlib.next_out = out_.get();
    zlib.avail_out = kBufferSize;
  }

  bool atEnd() const { return left_ == 0; }
  // Bytes of the source that zlib has not used up.
  uint64_t unused() const { return left_ + zlib.avail_in; }

  // Reads the next chunk of the source, after what zlib has used up.
  bool Fill() {
    const auto size = static_cast<uInt>(std::min<uint64_t>(left_, kBufferSize));
    errno = EIO;  // for a file that has become shorter
    if (ReadFully(from_, in_.get(), size) != static_cast<ssize_t>(size)) {
      return Told(L"Failed reading from input file!\n");
    }
    left_ -= size;
    zlib.next_in = in_.get();
    zlib.avail_in = size;
    return true;
  }

  // Writes what zlib has put out.
  bool Drain() {
    if (!WriteFully(to_, out_.get(), kBufferSize - zlib.avail_out)) {
      return Told(L"Failed writing to output file!\n");
    }
    zlib.next_out = out_.get();
    zlib.avail_out = kBufferSize;
    return true;
  }

  z_stream zlib{};

 private:
  int from_;
  uint64_t left_;
  int to_;
  std::unique_ptr<unsigned char[]> in_ =
      std::make_unique_for_overwrite<unsigned char[]>(kBufferSize);
  std::unique_ptr<unsigned char[]> out_ =
      std::make_unique_for_overwrite<unsigned char[]>(kBufferSize);
};

// Runs `end`, which frees a zlib stream, when it goes out of scope.
template <int (*end)(z_stream*)>
struct StreamEnd {
  z_stream& zlib;
  ~StreamEnd() { end(&zlib); }
};

Outcome Decompress(Pipe& pipe) {
  z_stream& zlib = pipe.zlib;
  int status = inflateInit2(&zlib, kWindowBits);
  const StreamEnd<inflateEnd> end{zlib};
  bool readable = true;
  while (status == Z_OK) {
    if (zlib.avail_in == 0 && !pipe.atEnd()) readable = pipe.Fill();
    if (!readable) break;
    // At the end of the source zlib either ends the stream or makes no progress (Z_BUF_ERROR).
    status = inflate(&zlib, Z_NO_FLUSH);
    if (zlib.avail_out == 0 && !pipe.Drain()) return Inflated::kTargetFailed;
  }
  if (!pipe.Drain()) return Inflated::kTargetFailed;
  if (status == Z_STREAM_END) return Inflated::kWhole;
  if (readable) ConsoleEntry(Console(), L"tinfl_decompress() failed with status %i!\n", status);
  return Inflated::kSourceFailed;
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
      output_(std::make_unique_for_overwrite<char[]>(kBufferSize)) {
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
    stream_.avail_out = kBufferSize;
    status_ = deflate(&stream_, last ? Z_FINISH : Z_NO_FLUSH);
    if (status_ == Z_BUF_ERROR) status_ = Z_OK;  // there was nothing left to do
    if (status_ < 0) return false;
    if (!sink({output_.get(), kBufferSize - stream_.avail_out})) return false;
  } while (stream_.avail_out == 0);
  return true;
}

Inflated InflateStream(int from, int to) {
  struct stat info {};
  if (fstat(from, &info) != 0 || lseek(from, 0, SEEK_SET) != 0) {
    Told(L"Failed opening input file!\n");
    return {Inflated::kSourceFailed};
  }
  Pipe pipe(from, static_cast<uint64_t>(info.st_size), to);
  const Outcome outcome = Decompress(pipe);
  return {outcome, outcome == Inflated::kWhole ? pipe.unused() : 0};
}

}  // namespace tabulon
