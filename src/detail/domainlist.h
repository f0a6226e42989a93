// The domain names of a security section, each with its place in their order. SIDs are ordered by
// these places. Comparing the names again for every pair of SIDs would take minutes on a small file
// with two long names.
#pragma once

#include <cstdint>
#include <deque>
#include <string_view>

#include "detail/sectionreader.h"

namespace tabulon {

// Orders texts by their units with letter case folded; if equal, the shorter first.
int CompareFolded(std::wstring_view a, std::wstring_view b);

struct Domain {
  const wchar_t* text = nullptr;
  uint32_t length = 0;
  uint32_t rank = 1;  // 1 = the empty name; names that differ in letter case only share one

  std::wstring_view view() const { return {text, length}; }
};

// Kept small: a domain can take as little as four bytes of a section, eight with a name.
class DomainList {
 public:
  // Reads the list at the position of `reader`. False when the file ends inside it. Texts live in
  // `pool`.
  bool Load(SectionReader& reader, Pool& pool);
  // Domain number `index`, counted from 0; an empty one when the list has no such domain.
  Domain At(uint32_t index) const {
    const uint32_t place = index < places_.size() ? places_[index] : 0;
    return place != 0 ? named_[place - 1] : Domain{};
  }

 private:
  void Rank();

  // Growing, they never need room for their contents twice.
  std::deque<Domain> named_;
  std::deque<uint32_t> places_;  // of each domain in `named_`, from 1; 0 = it has no name
};

}  // namespace tabulon
