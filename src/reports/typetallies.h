// The tallies of one report by their keys. So many keys as memory allows have theirs in a table;
// the records of the others go to a sorted spool one by one, and are added up in the end. So memory
// is bounded, and a record costs about the same however many keys there are.
#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "base/textspool.h"
#include "reports/report.h"
#include "reports/typefront.h"

namespace tabulon {

// What has been counted under one key.
struct TypeCounts {
  uint32_t count = 0;
  uint32_t keyLength = 0;   // bytes of the key: the first ones of the text
  uint32_t textLength = 0;  // bytes of the text
  uint32_t unused = 0;
  uint64_t totalBytes = 0;
  uint64_t allocatedBytes = 0;
  uint64_t position = 0;  // of the first record, in the scan file
};

// The text of a key: the key's bytes, then the name that is shown, where it is spelled otherwise.
struct TypeEntry {
  TypeCounts counts;
  std::string text;
};
// The name that is shown.
inline std::string_view ShownName(const TypeCounts& counts, std::string_view text) {
  return counts.keyLength == text.size() ? text : text.substr(counts.keyLength);
}

// Texts of keys are bytes that have the order of the wide texts they stand for (CompareUnits):
// UTF-8 (RFC 3629) of the units, whatever they are. REQUIRES: units below 2^21.
void AppendUnits(std::string& bytes, std::wstring_view text);
// The wide text again.
void TakeUnits(std::string_view bytes, std::wstring& text);

// Entries of a spool: TypeCounts, then the text.
struct TallyForm {
  static constexpr size_t kHead = sizeof(TypeCounts);
  static TypeCounts Counts(const char* entry);
  static std::string_view Text(const char* entry);
  size_t Size(const char* entry) const { return kHead + Counts(entry).textLength; }
};
// By key, then by position.
struct ByTypeKey : TallyForm {
  bool Less(const char* a, const char* b) const;
  uint64_t Rank(const char* entry) const;  // the key's first bytes
};

// A word with this bit is a hash, which several keys may have.
inline constexpr uint64_t kHashedWord = uint64_t{1} << 63;

class TypeTallies {
 public:
  explicit TypeTallies(TypeLimits& limits) : limits_(limits) {}

  const TypeFront& front() const { return front_; }
  // Where the next record of a key counts, whether or not the front knows it. All records of a
  // key have one `word`. `text` and
  // `keyLength`: as in the entry. Valid until the next call.
  TypeEntry* Find(uint64_t word, std::string_view text, size_t keyLength, uint64_t position);
  // Takes over the tallies of another part of the scan.
  void Merge(TypeTallies& other);
  // Ends the counting: hands on each key once, in any order.
  using Use = std::function<void(const TypeCounts& counts, std::string_view text)>;
  void TakeAll(const Use& use);

 private:
  bool Take(size_t bytes);
  bool HasRoom(size_t textBytes);
  TypeEntry* NewStray();
  void Spool(const TypeEntry& entry);
  void SpoolAll();
  void AddUp(const Use& use);

  TypeLimits& limits_;
  std::deque<TypeEntry> entries_;
  TypeFront front_;
  TypeEntry stray_;       // of a record whose key has no entry
  bool unique_ = true;    // each key has one entry, and none is in the spool
  size_t bytesLeft_ = 0;  // of what has been taken from the run's memory
  std::optional<TextSpool<ByTypeKey>> spool_;
};

}  // namespace tabulon
