// Completes the module detail.
#include "detail/rest.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <iterator>
#include <memory>
#include <string_view>

#include "base/fileio.h"
#include "base/loganderr.h"
#include "base/tempfile.h"
#include "detail/filecompress.h"
#include "detail/filereplace.h"

namespace tabulon {
namespace {

constexpr ssize_t kBufferSize = 0x80000;
constexpr int kLevel = 9;

using Outcome = Inflated::Outcome;

// Tells a failure on standard output; errno stays as it is. Returns what doCompression returns
// then.
int Failure(WideFormat<> message) {
  const int errnum = errno;
  ConsoleEntry(Console(), message);
  errno = errnum;
  return 1;
}

// Whether what was to be written was. If not, that is told.
bool Written(bool done) {
  if (!done) Failure(L"Failed writing to output file!\n");
  return done;
}

Outcome Compress(int from, int to) {
  Deflater deflater(kLevel);
  const auto write = [&](std::string_view bytes) {
    return Written(WriteFully(to, bytes.data(), bytes.size()));
  };
  const auto buffer = std::make_unique_for_overwrite<char[]>(kBufferSize);
  ssize_t size = kBufferSize;
  bool written = write({kZlibMark, sizeof kZlibMark});
  while (written && size == kBufferSize) {
    size = ReadFully(from, buffer.get(), kBufferSize);
    if (size < 0) {
      Failure(L"Failed reading from input file!\n");
      return Inflated::kSourceFailed;
    }
    written = deflater.Put({buffer.get(), static_cast<size_t>(size)}, size < kBufferSize, write);
  }
  if (deflater.status() < 0) {
    ConsoleEntry(Console(), L"tdefl_compress() failed with status %i!\n", deflater.status());
  }
  const std::array<char, 4> trailer = ZlibTrailer(deflater.checksum());
  written = written && write({trailer.data(), trailer.size()});
  return written ? Inflated::kWhole : Inflated::kTargetFailed;
}

Outcome Decompress(int from, int to) {
  return InflateStream(from, to).outcome;
}

struct Mode {
  char letter;
  Outcome (*run)(int from, int to);
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
  return Written(fsync(target.fd()) == 0 && target.Close() == 0);
}

}  // namespace

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

  const Outcome outcome = mode->run(source.get(), target.fd());
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
