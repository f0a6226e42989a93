// MD5 digests (RFC 1321) of short messages, eight side by side. One digest is a chain of 64 steps,
// each of which waits for the one before; vector instructions work on eight chains for the price of
// two. With the library, which takes one message at a time, digests were a fifth of the
// instructions of a duplicates report; so they are a fifteenth.
#pragma once

#include <array>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <span>

namespace tabulon {

// A digest as two numbers, so that their order is the order of its bytes.
struct Digest {
  uint64_t high = 0;  // first eight bytes, big-endian
  uint64_t low = 0;
  auto operator<=>(const Digest&) const = default;
};

class Md5Lanes {
 public:
  static constexpr size_t kLanes = 8;
  // What fits one block with its padding: bytes.
  static constexpr size_t kLongest = 55;

  // Gives a lane its message. REQUIRES: lane < kLanes, at most kLongest bytes.
  void Set(size_t lane, std::span<const unsigned char> message);
  // Digests the messages of all lanes; those of lanes that were not set mean nothing.
  std::array<Digest, kLanes> Compute() const;

 private:
  static constexpr size_t kWords = 16;  // of a block
  alignas(32) std::array<std::array<uint32_t, kLanes>, kWords> words_{};
};

}  // namespace tabulon
