// What makes two files duplicates: their size and chosen fields, as a digest, and as a cheap hash
// that tells most files apart without one.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "detail/pass.h"
#include "reports/md5lanes.h"

namespace tabulon {

class DupKey {
 public:
  // `fields`: kDup... bits (config/report.h). The size is part of every key.
  explicit DupKey(uint32_t fields) : fields_(fields) {}

  // A cheap 64-bit hash of the key of each chosen record, in their order: equal keys have equal
  // fingerprints. Those of directories mean nothing. Valid until the next call.
  std::span<const uint64_t> Fingerprints(Pass& pass);
  // What the digest of the key is made of: size, then times of 8 bytes each (modified, created),
  // then the name and the extension with its '.', four bytes a character, as far as they are
  // chosen. Valid until the next call.
  std::span<const unsigned char> CheckBuffer(const RecordFields& record, const RecordText& name);

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

// The MD5 digest of a message of any length.
Digest Md5(std::span<const unsigned char> message);

}  // namespace tabulon
