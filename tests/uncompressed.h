// What zlib itself makes of a whole compressed text, for tests of what compresses.
#pragma once

#include <zlib.h>

#include <string>

namespace tabulon {

// The text, which has `room` bytes at the most; "damaged" when it is not all of a zlib stream.
inline std::string Uncompressed(const std::string& bytes, size_t room) {
  std::string plain(room + 1, '\0');
  uLongf size = plain.size();
  const int status = uncompress(reinterpret_cast<Bytef*>(plain.data()), &size,
                                reinterpret_cast<const Bytef*>(bytes.data()), bytes.size());
  return status == Z_OK ? plain.substr(0, size) : "damaged";
}

}  // namespace tabulon
