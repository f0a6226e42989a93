// A compressed file: what comes out of it is what zlib makes of it, and any bytes survive the way
// through the compressed form.
#include <zlib.h>

#include "detail/rest.h"
#include "fuzz/target.h"
#include "tests/support.h"

using namespace tabulon;

namespace {

// What zlib inflates of the stream at the start of `bytes`, whole or not.
std::string InflatedByZlib(std::string_view bytes) {
  z_stream zlib{};
  inflateInit(&zlib);
  zlib.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(bytes.data()));
  zlib.avail_in = static_cast<uInt>(bytes.size());
  std::string text;
  char buffer[4096];
  int status = Z_OK;
  while (status == Z_OK) {
    zlib.next_out = reinterpret_cast<Bytef*>(buffer);
    zlib.avail_out = sizeof buffer;
    status = inflate(&zlib, Z_NO_FLUSH);
    text.append(buffer, sizeof buffer - zlib.avail_out);
  }
  inflateEnd(&zlib);
  return text;
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const TempDir dir;
  const std::string from = dir / "from", to = dir / "to", back = dir / "back";
  const std::string_view bytes = AsText(data, size);
  WriteFile(from, bytes);
  RunPart([&] {
    decompressFile(from.c_str(), to.c_str());
    Require(ReadFile(to) == InflatedByZlib(bytes));
    std::filesystem::remove(to);
    Require(compressFile(from.c_str(), to.c_str()) == 0);
    Require(decompressFile(to.c_str(), back.c_str()) == 0);
    Require(ReadFile(back) == bytes);
  });
  std::filesystem::remove(to);
  std::filesystem::remove(back);
  return 0;
}
