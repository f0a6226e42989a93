// The files that may be duplicates, found in two steps. During the scan every file leaves a few
// bytes, and a mark of two bits for its fingerprint in a table. After it, only the files whose
// fingerprint was seen more than once are read again and given a digest. So a file that is alone
// costs no digest and no second look, and no memory but these few bytes.
#pragma once

#include <compare>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "base/memory.h"
#include "base/tempfile.h"
#include "detail/scanrecord.h"
#include "reports/report.h"

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

// Which fingerprints have been seen once, which more often. The table is larger than the caches, so
// nearly every mark would wait for memory. Therefore the memory of a mark is fetched at once, and
// the mark is made some files later, when it has arrived. Two files that get one mark by chance
// count as seen twice: the digest tells them apart.
class SeenTable {
 public:
  // For about `files` files.
  explicit SeenTable(uint64_t files);
  // The mark of a fingerprint.
  uint32_t Slot(uint64_t fingerprint) const { return static_cast<uint32_t>(fingerprint >> shift_); }
  void See(uint32_t slot) {
    __builtin_prefetch(&words_[slot / kPerWord], 1);
    Mark(waiting_[at_]);
    waiting_[at_] = slot;
    at_ = (at_ + 1) % kWaiting;
  }
  // Makes the marks that are still waiting.
  void Finish();
  // Adds the marks of another part of the same scan.
  void Merge(SeenTable& other);
  bool SeenAgain(uint32_t slot) const {
    return (words_[slot / kPerWord] >> (slot % kPerWord * 2) & kAgain) != 0;
  }
  // Gives the memory back. REQUIRES: the table is not used any more.
  void Release() { words_.Release(); }
  void Prefetch(uint32_t slot) const { __builtin_prefetch(&words_[slot / kPerWord]); }

 private:
  static constexpr uint32_t kPerWord = 32;  // two bits a mark
  static constexpr uint64_t kOnce = 1;
  static constexpr uint64_t kAgain = 2;
  static constexpr size_t kWaiting = 16;
  static constexpr uint32_t kNone = 0xFFFFFFFF;

  void Mark(uint32_t slot) {
    if (slot == kNone) return;
    uint64_t& word = words_[slot / kPerWord];
    const uint32_t bit = slot % kPerWord * 2;
    word |= ((word >> bit & kOnce) != 0 ? kAgain : kOnce) << bit;
  }

  HugeArray<uint64_t> words_;
  uint32_t shift_;
  uint32_t waiting_[kWaiting];
  size_t at_ = 0;
};

// One file that may be a duplicate.
struct Candidate {
  Digest digest;
  uint32_t run;         // number of the run that the file was gathered in
  uint32_t textLength;  // bytes of its stored name and directory path
  uint64_t position;    // file offset of its record
  uint64_t directory;   // file offset of its directory's record
  uint64_t size;        // of the file, bytes
};
static_assert(sizeof(Candidate) == 48);

class DupCandidates {
 public:
  // `fields`: the check fields. The scan must outlive this. `everyFile` makes every file a
  // candidate, a lone one too.
  DupCandidates(const Scan& scan, uint32_t fields, const DupLimits& limits, bool everyFile);

  // Gathers one file of the scan; returns true when the run before it was full.
  bool Gather(const ScanRecord& record);
  // Takes over what another finder gathered of the next part of the scan. REQUIRES: the same fields
  // and limits.
  void Merge(DupCandidates& later);
  // Reads the candidates again, in file order, and hands each to `take`.
  void ForEach(const std::function<void(const Candidate&)>& take);

 private:
  // What is kept of a file until the scan is over, or of a directory that the files after it are
  // in.
  struct Entry {
    uint32_t positionLow;
    uint32_t positionHigh;
    uint32_t slot;  // kDirectory for a directory
    uint64_t position() const { return uint64_t{positionHigh} << 32 | positionLow; }
  };
  static_assert(sizeof(Entry) == 12);
  static constexpr uint32_t kDirectory = 0xFFFFFFFE;

  void Push(uint64_t position, uint32_t slot);
  void Spill();
  template <class Use>
  void TakeEntries(Use use);
  class Reader;

  const Scan& scan_;
  uint32_t runLimit_;
  bool everyFile_;
  DupKey key_;
  SeenTable seen_;
  HugeArray<Entry> entries_;
  TempFile spill_;
  uint64_t spilled_ = 0;    // entries in the file
  uint64_t files_ = 0;      // gathered so far
  uint64_t directory_ = 0;  // the directory noted last
};

}  // namespace tabulon
