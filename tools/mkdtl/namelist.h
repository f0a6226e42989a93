// The names in a directory, without an allocation for each: a million names of 20 bytes are 29 MB.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace tabulon {

class NameList {
 public:
  // `type` is that of readdir(3): DT_DIR, DT_UNKNOWN and so on. REQUIRES: the name is shorter than
  // 64 KiB.
  void Add(std::string_view name, unsigned char type);
  void Clear();
  // Sorts by the names' bytes.
  void Sort();

  size_t size() const { return entries_.size(); }
  bool empty() const { return entries_.empty(); }
  // Ends in a zero byte. Valid until the list is changed.
  std::string_view operator[](size_t index) const;
  unsigned char Type(size_t index) const;
  // Memory of the list in bytes.
  size_t memory() const { return bytes_.capacity() + entries_.capacity() * sizeof(uint64_t); }

 private:
  std::string bytes_;              // the names, each with its zero byte
  std::vector<uint64_t> entries_;  // offset << 24 | length << 8 | type
};

// Appends the names in an open directory to `names`, unsorted, without "." and "..". Returns 0, or
// the system error that ended the list too early. `buffer` is scratch memory.
int ReadNames(int directory, std::vector<char>& buffer, NameList& names);

}  // namespace tabulon
