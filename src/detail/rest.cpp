// Completes the module detail.
#include "detail/rest.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <compare>
#include <iterator>
#include <memory>
#include <string_view>
#include <utility>

#include "base/fileio.h"
#include "base/loganderr.h"
#include "base/tempfile.h"
#include "detail/filecompress.h"
#include "detail/filereplace.h"
#include "detail/sectionreader.h"

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
  TakePermittedOwnerAndMode(target.fd(), like);
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

const SidObject dummySidKey{.sid = {}, .domain = {}, .name = L"<unknown>"};

TreeHandle SdTree(int fd, const LogHeader& header) {
  TreeHandle tree = TreePlant({.fanOut = 256,
                               .treeMemory = -257,
                               .keysPerKeyNode = 128,
                               .maxKeyBytes = sizeof(uint32_t),
                               .extraBytes = sizeof(SdPlace),
                               .keyMemory = 5'000'000});
  SectionReader reader(fd, header.securitySection);
  uint32_t sdCount = 0;
  if (header.securitySection == 0 || !reader.ReadU32(sdCount)) return tree;
  SdPlace place;
  for (uint32_t i = 0; i < sdCount; ++i) {
    if (!reader.ReadU32(place.length) || !reader.Skip(place.length)) break;
    TreeAddKey(tree.get(), &i, sizeof i, &place);
    place.offset += place.length;
  }
  return tree;
}

TreeHandle SidTree(const SecurityObjects& objects, Pool& pool) {
  TreeHandle tree = PlantReferenceTree([](const void* a, uint32_t, const void* b, uint32_t) {
    return FromKey<SidObject>(a).sid.compare(FromKey<SidObject>(b).sid);
  });
  ReadSids(objects.fd, objects.domainsAt, pool, [&](const SidObject& sid) {
    AddReference(tree.get(), std::pmr::polymorphic_allocator<>(&pool).new_object<SidObject>(sid));
  });
  return tree;
}

TreeHandle IdTree(int fd, const LogHeader& header, Pool& pool) {
  TreeHandle tree = PlantReferenceTree([](const void* a, uint32_t, const void* b, uint32_t) {
    const auto& x = FromKey<IdObject>(a);
    const auto& y = FromKey<IdObject>(b);
    const auto order = std::pair(x.kind, x.id) <=> std::pair(y.kind, y.id);
    return order < 0 ? -1 : order > 0 ? 1 : 0;
  });
  ReadIds(fd, header, pool, [&](const IdObject& id) {
    AddReference(tree.get(), std::pmr::polymorphic_allocator<>(&pool).new_object<IdObject>(id));
  });
  return tree;
}

}  // namespace tabulon
