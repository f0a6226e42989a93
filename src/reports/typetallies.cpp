#include "reports/typetallies.h"

#include <algorithm>
#include <cstring>

#include "base/bytes.h"

namespace tabulon {
namespace {

// What an entry takes beside a text that does not fit into it: itself, and its places in the front.
constexpr size_t kEntryBytes = sizeof(TypeEntry) + 64;
// Memory is taken from the run for about so many bytes at a time.
constexpr size_t kShare = 128 * 1024;
// A spool takes so much of its limit, with the places of its entries and while it grows.
constexpr size_t kSpoolOverhead = 3;
// What it may hold when the run's memory is used up.
constexpr size_t kLeastSpooled = 256 * 1024;

constexpr uint32_t Low6(uint32_t code) {
  return code & 0x3F;
}

// REQUIRES: `key` is not empty.
bool SameKey(const TypeEntry& entry, std::string_view key) {
  return std::string_view(entry.text).substr(0, entry.counts.keyLength) == key;
}

}  // namespace

void AppendUnits(std::string& bytes, std::wstring_view text) {
  for (const wchar_t unit : text) {
    const auto code = static_cast<uint32_t>(unit);
    if (code < 0x80) {
      bytes += static_cast<char>(code);
    } else if (code < 0x800) {
      bytes += {static_cast<char>(0xC0 | code >> 6), static_cast<char>(0x80 | Low6(code))};
    } else if (code < 0x10000) {
      bytes += {static_cast<char>(0xE0 | code >> 12), static_cast<char>(0x80 | Low6(code >> 6)),
                static_cast<char>(0x80 | Low6(code))};
    } else {
      bytes += {static_cast<char>(0xF0 | code >> 18), static_cast<char>(0x80 | Low6(code >> 12)),
                static_cast<char>(0x80 | Low6(code >> 6)), static_cast<char>(0x80 | Low6(code))};
    }
  }
}

void TakeUnits(std::string_view bytes, std::wstring& text) {
  text.clear();
  for (const char each : bytes) {
    const auto byte = static_cast<unsigned char>(each);
    if ((byte & 0xC0) == 0x80) {
      text.back() = static_cast<wchar_t>(static_cast<uint32_t>(text.back()) << 6 | Low6(byte));
    } else {
      text += static_cast<wchar_t>(byte < 0x80 ? byte : byte < 0xE0 ? byte & 0x1F : byte & 0x0F);
    }
  }
}

TypeCounts TallyForm::Counts(const char* entry) {
  TypeCounts counts;
  std::memcpy(&counts, entry, sizeof counts);
  return counts;
}

std::string_view TallyForm::Text(const char* entry) {
  return {entry + kHead, Counts(entry).textLength};
}

bool ByTypeKey::Less(const char* a, const char* b) const {
  const TypeCounts countsA = Counts(a);
  const TypeCounts countsB = Counts(b);
  const int order =
      Text(a).substr(0, countsA.keyLength).compare(Text(b).substr(0, countsB.keyLength));
  return order != 0 ? order < 0 : countsA.position < countsB.position;
}

uint64_t ByTypeKey::Rank(const char* entry) const {
  const std::string_view key = Text(entry).substr(0, Counts(entry).keyLength);
  uint64_t rank = 0;
  for (size_t i = 0; i < kWordBytes; ++i) {
    rank = rank << 8 | (i < key.size() ? static_cast<unsigned char>(key[i]) : 0U);
  }
  return rank;
}

// Takes memory from what the reports of the run share; false when there is too little.
bool TypeTallies::Take(size_t bytes) {
  const auto share = static_cast<int64_t>(bytes);
  if (limits_.memory.fetch_sub(share) >= share) return true;
  limits_.memory += share;
  return false;
}

// Whether there is room for another entry, which is then taken.
bool TypeTallies::HasRoom(size_t textBytes) {
  const size_t bytes = kEntryBytes + textBytes;
  if (entries_.size() >= limits_.entries) return false;
  if (bytesLeft_ < bytes) {
    const size_t share = std::max(bytes, kShare);
    if (!Take(share)) return false;
    bytesLeft_ += share;
  }
  bytesLeft_ -= bytes;
  return true;
}

TypeEntry* TypeTallies::Find(uint64_t word, std::string_view text, size_t keyLength,
                             uint64_t position) {
  TypeEntry* entry = TypeFront::Lookup(front_).Find(word);
  if (entry != nullptr &&
      ((word & kHashedWord) == 0 || SameKey(*entry, text.substr(0, keyLength)))) {
    return entry;
  }
  if (entry == nullptr && HasRoom(text.size())) {
    entry = &entries_.emplace_back();
    unique_ &= front_.Add(word, entry);
  } else {
    entry = NewStray();
  }
  entry->text = text;
  entry->counts.keyLength = static_cast<uint32_t>(keyLength);
  entry->counts.textLength = static_cast<uint32_t>(text.size());
  entry->counts.position = position;
  return entry;
}

TypeEntry* TypeTallies::NewStray() {
  Spool(stray_);
  stray_.counts = {};
  unique_ = false;
  return &stray_;
}

void TypeTallies::Spool(const TypeEntry& entry) {
  if (entry.text.empty()) return;  // nothing has been counted
  if (!spool_) {
    const bool asUsual = Take(limits_.spooled * kSpoolOverhead);
    spool_.emplace(asUsual ? limits_.spooled : std::min(limits_.spooled, kLeastSpooled), "types");
  }
  spool_->Add(&entry.counts, sizeof entry.counts, entry.text);
}

// Brings all entries to the spool, and gives their memory back.
void TypeTallies::SpoolAll() {
  for (const TypeEntry& entry : entries_) Spool(entry);
  Spool(stray_);
  entries_ = {};
  stray_ = {};
  front_ = {};
  unique_ = false;
}

void TypeTallies::Merge(TypeTallies& other) {
  other.SpoolAll();
  if (!other.spool_) return;
  unique_ = false;
  if (spool_) {
    spool_->Merge(*other.spool_);
  } else {
    spool_ = std::move(other.spool_);
  }
}

void TypeTallies::TakeAll(const Use& use) {
  if (unique_) {
    for (const TypeEntry& entry : entries_) use(entry.counts, entry.text);
    return;
  }
  SpoolAll();
  if (spool_) AddUp(use);
}

// Adds up what the spool has of each key. The first of a key's entries has the first record.
void TypeTallies::AddUp(const Use& use) {
  spool_->Finish();
  TypeEntry sum;
  for (const char* next = spool_->Next(); next != nullptr; next = spool_->Next()) {
    const TypeCounts counts = TallyForm::Counts(next);
    const std::string_view text = TallyForm::Text(next);
    if (SameKey(sum, text.substr(0, counts.keyLength))) {
      sum.counts.count += counts.count;
      sum.counts.totalBytes += counts.totalBytes;
      sum.counts.allocatedBytes += counts.allocatedBytes;
      continue;
    }
    if (!sum.text.empty()) use(sum.counts, sum.text);
    sum.counts = counts;
    sum.text = text;
  }
  if (!sum.text.empty()) use(sum.counts, sum.text);
}

}  // namespace tabulon
