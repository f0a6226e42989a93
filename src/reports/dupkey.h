// What makes two files duplicates: their size and chosen fields, as a digest, and as a cheap hash
// that tells most files apart without one.
#pragma once

#include <array>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "detail/pass.h"

namespace tabulon {

// An MD5 digest (RFC 1321) as two numbers, so that their order is the order of its bytes.
struct Digest {
  uint64_t high = 0;  // first eight bytes, big-endian
  uint64_t low = 0;
  auto operator<=>(const Digest&) const = default;
};

class DupKey {
 public:
  // `fields`: kDup... bits (config/report.h). The size is part of every key.
  explicit DupKey(uint32_t fields) : fields_(fields) {}

  // A cheap 64-bit hash of the key of each chosen record, in their order: equal keys have equal
  // fingerprints. Those of directories mean nothing. Valid until the next call.
  std::span<const uint64_t> Fingerprints(Pass& pass);
  // The digest of the key's check buffer: size, then times of 8 bytes each (modified, created),
  // then the name and the extension with its '.', four bytes a character, as far as they are
  // chosen.
  Digest Md5(const RecordFields& record, const RecordText& name);

 private:
  uint64_t Fingerprint(RecordBatch& batch, size_t i);
  uint64_t MixName(uint64_t hash, const RecordText& name);
  uint64_t MixText(uint64_t hash, const RecordText& name, size_t from);
  void AppendText(const RecordText& name, size_t from);

  uint32_t fields_;
  std::array<uint64_t, RecordBatch::kMost> fingerprints_;
  std::vector<unsigned char> buffer_;  // kept between records
  std::string narrowed_;
};

}  // namespace tabulon
