#include "detail/filecompress.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <zlib.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <memory>
#include <string_view>

#include "base/fileio.h"
#include "base/loganderr.h"
#include "base/tempfile.h"
#include "base/utils.h"
#include "detail/deflater.h"
#include "detail/filereplace.h"

namespace tabulon {
namespace {

constexpr uInt kBufferSize = 0x80000;
constexpr int kLevel = 9;
constexpr int kWindowBits = 15;

using Outcome = Inflated::Outcome;

// Tells a failure on standard output; errno stays as it is.
bool Told(WideFormat<> message) {
  const int errnum = errno;
  ConsoleEntry(Console(), message);
  errno = errnum;
  return false;
}

void* Allocate(void*, uInt count, uInt size) {
  return GetMem(size_t{count} * size, L"zlib").release();
}
void Release(void*, void* memory) {
  std::free(memory);
}

// The way from source to target: what is left of the source, and the buffers that a zlib stream
// works on.
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

  // Writes bytes that zlib has not put out here.
  bool Write(std::string_view bytes) {
    return WriteFully(to_, bytes.data(), bytes.size()) || Told(L"Failed writing to output file!\n");
  }

  // What Fill has read.
  std::string_view input() const {
    return {reinterpret_cast<const char*>(zlib.next_in), zlib.avail_in};
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

Outcome Compress(Pipe& pipe) {
  Deflater deflater(kLevel);
  const auto write = [&](std::string_view bytes) { return pipe.Write(bytes); };
  bool written = write({kZlibMark, sizeof kZlibMark});
  while (written && !pipe.atEnd()) {
    if (!pipe.Fill()) return Inflated::kSourceFailed;
    written = deflater.Put(pipe.input(), false, write);
  }
  written = written && deflater.Put({}, true, write);
  if (deflater.status() < 0) {
    ConsoleEntry(Console(), L"tdefl_compress() failed with status %i!\n", deflater.status());
  }
  const std::array<char, 4> trailer = ZlibTrailer(deflater.checksum());
  written = written && write({trailer.data(), trailer.size()});
  return written ? Inflated::kWhole : Inflated::kTargetFailed;
}

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

struct Mode {
  char letter;
  Outcome (*run)(Pipe& pipe);
  bool keepsPart;  // what came out of a damaged source is worth keeping
};
constexpr Mode kModes[] = {{'C', Compress, false}, {'D', Decompress, true}};

const Mode* ModeOf(const char* text) {
  const char letter = *text >= 'a' && *text <= 'z' ? static_cast<char>(*text - 'a' + 'A') : *text;
  const auto* mode = std::ranges::find(kModes, letter, &Mode::letter);
  return mode == std::end(kModes) ? nullptr : mode;
}

bool BringToDisk(TempFile& target, const struct stat& like) {
  TakeOwnerAndMode(target.fd(), like);
  if (fsync(target.fd()) == 0 && target.Close() == 0) return true;
  return Told(L"Failed writing to output file!\n");
}

// What doCompression returns after `message`.
int Failure(WideFormat<> message) {
  Told(message);
  return 1;
}

}  // namespace

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

int doCompression(const char* modeText, const char* from, const char* to) {
  errno = EINVAL;
  const Mode* mode = ModeOf(modeText);
  if (mode == nullptr) return Failure(L"Invalid mode!\n");
  UniqueFd source(open(from, O_RDONLY | O_CLOEXEC));
  struct stat like {};
  if (!source.valid() || fstat(source.get(), &like) != 0) {
    return Failure(L"Failed opening input file!\n");
  }
  TempFile target = TempFile::CreateExclusive(to);
  if (!target.valid()) return Failure(L"Failed opening output file!\n");

  Pipe pipe(source.get(), static_cast<uint64_t>(like.st_size), target.fd());
  const Outcome outcome = mode->run(pipe);
  const bool whole = outcome == Inflated::kWhole;
  const bool worthKeeping = whole || (outcome == Inflated::kSourceFailed && mode->keepsPart);
  const bool kept = worthKeeping && BringToDisk(target, like);
  const int errnum = kept ? EBADMSG : errno;
  if (kept) target.Keep();
  target.Remove();
  source.Reset();
  errno = errnum;  // after everything that may change it
  return whole && kept ? 0 : 1;
}

int compressFile(const char* from, const char* to) {
  return doCompression("Compress", from, to);
}

int decompressFile(const char* from, const char* to) {
  return doCompression("Decompress", from, to);
}

}  // namespace tabulon
