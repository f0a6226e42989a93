// Finds tallies by 64-bit keys: an open-addressing hash table. While it is small it is very sparse,
// so that nearly every key is at the first place that is looked at: one multiplication, one load,
// one branch that is nearly always predicted. Only a few neighbouring places are tried, whatever
// keys a scan is made of.
#pragma once

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

#include "base/bytes.h"

namespace tabulon {

struct TypeEntry;

class TypeFront {
  struct Slot {
    uint64_t key = 0;
    TypeEntry* entry = nullptr;  // null = free
  };

 public:
  TypeFront() { Resize(kFirstBits); }

  // Finds keys until the next Add. A loop keeps a copy of its own: the compiler then knows that
  // nothing it writes changes the table's address, and keeps it in a register.
  class Lookup {
   public:
    explicit Lookup(const TypeFront& front) : slots_(front.slots_.data()), shift_(front.shift_) {}
    // The entry of a key; null when it is not held.
    TypeEntry* Find(uint64_t key) const {
      const Slot* slot = slots_ + HomeOf(key, shift_);
      return slot->key == key ? slot->entry : FindFurther(slot, key);
    }

   private:
    [[gnu::noinline]] static TypeEntry* FindFurther(const Slot* slot, uint64_t key) {
      for (size_t i = 0; i < kProbes; ++i) {
        if (slot[i].key == key || slot[i].entry == nullptr) return slot[i].entry;
      }
      return nullptr;
    }
    const Slot* slots_;
    unsigned shift_;
  };

  // False when a key, this one or an older one, finds no room near its place: it is not held then.
  // REQUIRES: the key is not held.
  bool Add(uint64_t key, TypeEntry* entry) {
    const size_t room = slots_.size() <= kSmall ? kSparse : kFull;
    bool allHeld = held_ * room < slots_.size() || Grow();
    while (!Place(key, entry)) {
      if (slots_.size() >= kEmptiest * (held_ + 1)) return false;
      allHeld &= Grow();
    }
    return allHeld;
  }

 private:
  static constexpr unsigned kFirstBits = 5;  // thousands of reports may ask for little
  static constexpr size_t kProbes = 8;
  static constexpr size_t kSmall = 64 * 1024;  // slots
  static constexpr size_t kSparse = 16;        // slots for each key in a small table
  static constexpr size_t kFull = 2;           // and in a large one
  static constexpr size_t kEmptiest = 8;       // keys that crowd there have been chosen to
  static size_t HomeOf(uint64_t key, unsigned shift) { return (key * kGoldenMultiplier) >> shift; }

  bool Place(uint64_t key, TypeEntry* entry) {
    Slot* slot = slots_.data() + HomeOf(key, shift_);
    for (size_t i = 0; i < kProbes; ++i) {
      if (slot[i].entry != nullptr) continue;
      slot[i] = {key, entry};
      ++held_;
      return true;
    }
    return false;
  }
  void Resize(unsigned bits) {
    shift_ = 64 - bits;
    slots_.assign((size_t{1} << bits) + kProbes, Slot{});  // the last home has neighbours, too
    held_ = 0;
  }
  // False when a key has been lost.
  bool Grow() {
    const std::vector<Slot> old = std::move(slots_);
    Resize(64 - shift_ + 1);
    bool allHeld = true;
    for (const Slot& slot : old) {
      if (slot.entry != nullptr) allHeld &= Place(slot.key, slot.entry);
    }
    return allHeld;
  }

  std::vector<Slot> slots_;
  unsigned shift_ = 0;
  size_t held_ = 0;
};

}  // namespace tabulon
