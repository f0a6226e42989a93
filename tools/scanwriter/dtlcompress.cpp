#include "tools/scanwriter/dtlcompress.h"

#include <array>
#include <vector>

#include "detail/deflater.h"
#include "detail/filecompress.h"

namespace tabulon {
namespace {

constexpr size_t kChunk = 512 * 1024;
constexpr int kLevel = 9;

}  // namespace

bool CompressDtl(const PlainSource& source, DtlSink& sink) {
  Deflater deflater(kLevel);
  const auto append = [&](std::string_view bytes) { return sink.Append(bytes); };
  if (!append({kZlibMark, sizeof kZlibMark})) return false;
  std::vector<char> input(kChunk);
  for (ssize_t got = 1; got > 0;) {
    got = source(input.data(), input.size());
    if (got < 0) return false;
    if (!deflater.Put({input.data(), static_cast<size_t>(got)}, got == 0, append)) return false;
  }
  const std::array<char, 4> trailer = ZlibTrailer(deflater.checksum());
  return append({trailer.data(), trailer.size()});
}

}  // namespace tabulon
