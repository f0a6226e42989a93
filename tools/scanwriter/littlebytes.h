// Little-endian stores and the text forms of a detail file, the writing side's small change.
#pragma once

#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

namespace tabulon {

// The program runs on little-endian machines only (base/bytes.h asserts it).
template <class T>
void StoreLittle(char* at, T value) {
  std::memcpy(at, &value, sizeof value);
}

// Stores over bytes of `bytes`. REQUIRES: the value's bytes lie inside it.
inline void Store16(std::string& bytes, size_t at, uint16_t value) {
  StoreLittle(&bytes.at(at + 1) - 1, value);
}
inline void Store32(std::string& bytes, size_t at, uint32_t value) {
  StoreLittle(&bytes.at(at + 3) - 3, value);
}
inline void Store64(std::string& bytes, size_t at, uint64_t value) {
  StoreLittle(&bytes.at(at + 7) - 7, value);
}

template <class T>
void AppendLittle(std::string& bytes, T value) {
  char stored[sizeof value];
  StoreLittle(stored, value);
  bytes.append(stored, sizeof stored);
}
inline void Append16(std::string& bytes, uint16_t value) {
  AppendLittle(bytes, value);
}
inline void Append32(std::string& bytes, uint32_t value) {
  AppendLittle(bytes, value);
}
inline void Append64(std::string& bytes, uint64_t value) {
  AppendLittle(bytes, value);
}

// `text` in UTF-16 units, without a terminator.
std::string Utf16Bytes(std::string_view text);
// `text` in 4-byte units, with a terminating zero unit.
std::string Utf32Text(std::string_view text);

}  // namespace tabulon
