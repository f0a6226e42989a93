// A hash table of the numbers of entries that are kept elsewhere: eight bytes a place.
#pragma once

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

namespace tabulon {

class IndexTable {
 public:
  static constexpr uint32_t kNone = 0xFFFFFFFF;

  // The number with this hash for which equal(number) holds; kNone: there is none.
  template <class Equal>
  uint32_t Find(uint64_t hash, Equal&& equal) const {
    if (places_.empty()) return kNone;
    const uint32_t mark = MarkOf(hash);
    for (size_t at = mark & mask_;; at = (at + 1) & mask_) {
      const Place& place = places_[at];
      if (place.next == 0) return kNone;
      if (place.mark == mark && equal(place.next - 1)) return place.next - 1;
    }
  }
  // Adds a number (below kNone) that Find does not know.
  void Add(uint64_t hash, uint32_t number) {
    if (++size_ > places_.size() / 4 * 3) Grow();
    Put({MarkOf(hash), number + 1});
  }

 private:
  struct Place {
    uint32_t mark = 0;
    uint32_t next = 0;  // the number and 1; 0: free
  };
  static uint32_t MarkOf(uint64_t hash) { return static_cast<uint32_t>(hash >> 32); }
  void Put(Place place) {
    size_t at = place.mark & mask_;
    while (places_[at].next != 0) at = (at + 1) & mask_;
    places_[at] = place;
  }
  void Grow() {
    constexpr size_t kFirst = 1024;
    const std::vector<Place> before = std::exchange(places_, {});
    places_.resize(before.empty() ? kFirst : 2 * before.size());
    mask_ = places_.size() - 1;
    for (const Place& place : before) {
      if (place.next != 0) Put(place);
    }
  }

  std::vector<Place> places_;
  size_t mask_ = 0;
  size_t size_ = 0;
};

}  // namespace tabulon
