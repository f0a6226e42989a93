// Small little-endian reads from bytes that need not be aligned. Everything that the program reads
// from a file goes through these, so a value is never read past the bytes that hold it.
#pragma once

#include <bit>
#include <cstdint>
#include <cstring>

namespace tabulon {

static_assert(std::endian::native == std::endian::little,
              "detail files are little-endian and read without conversion");

template <class T>
inline T LoadLittle(const void* bytes) {
  T value;
  std::memcpy(&value, bytes, sizeof value);
  return value;
}

inline uint16_t LoadU16(const void* bytes) {
  return LoadLittle<uint16_t>(bytes);
}
inline uint32_t LoadU32(const void* bytes) {
  return LoadLittle<uint32_t>(bytes);
}
inline uint64_t LoadU64(const void* bytes) {
  return LoadLittle<uint64_t>(bytes);
}
inline int32_t LoadI32(const void* bytes) {
  return LoadLittle<int32_t>(bytes);
}

}  // namespace tabulon
