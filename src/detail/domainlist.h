// The domain names of a security section, each with its place in their order. SIDs are ordered by
// these places. Comparing the names again for every pair of SIDs would take minutes on a small file
// with two long names.
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include "detail/sectionreader.h"

namespace tabulon {

// Orders texts by their units with letter case folded; if equal, the shorter first.
int CompareFolded(std::wstring_view a, std::wstring_view b);

// Kept small, since a domain can take as little as four bytes of a section.
struct Domain {
  const wchar_t* text = nullptr;
  uint32_t length = 0;
  uint32_t rank = 1;  // 1 = the empty name; names that differ in letter case only share one

  std::wstring_view view() const { return {text, length}; }
};

class DomainList {
 public:
  // Reads the list at the position of `reader`, and sets `count` to the number of domains that it
  // claims to have. False when the file ends inside it. Texts live in `pool`.
  bool Load(SectionReader& reader, Pool& pool, uint32_t& count);
  // Domain number `index`, counted from 0; an empty one when the list has no such domain.
  Domain At(uint32_t index) const { return index < domains_.size() ? domains_[index] : Domain{}; }

 private:
  void Rank();

  std::vector<Domain> domains_;
};

}  // namespace tabulon
