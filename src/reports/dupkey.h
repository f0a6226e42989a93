// What makes two files duplicates of each other: their size and the chosen check fields.
#pragma once

#include <compare>
#include <cstdint>
#include <string>
#include <vector>

#include "detail/dtlformat.h"
#include "detail/recordtext.h"

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

  // A cheap 64-bit hash of the key: equal keys have equal fingerprints.
  uint64_t Fingerprint(const RecordFields& record, const RecordText& name);
  // The digest of the key's check buffer: size, then times of 8 bytes each (modified, created),
  // then the name and the extension with its '.', four bytes a character, as far as they are
  // chosen.
  Digest Md5(const RecordFields& record, const RecordText& name);

 private:
  uint64_t MixText(uint64_t hash, const RecordText& name, size_t from);
  void AppendText(const RecordText& name, size_t from);

  uint32_t fields_;
  std::vector<unsigned char> buffer_;  // kept between records
  std::string narrowed_;
};

}  // namespace tabulon
