// A B+-tree of byte-string keys whose nodes live in a bounded table in memory and page out to
// temporary files by least recent use: an ordered set of any size within a fixed memory budget.
// Keys are stored apart from the tree's structure; each carries a block of extra bytes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>

namespace tabulon {

struct Tree;

// Negative when a comes before b, zero when they are equal, positive when a comes after b.
using TreeCompare = int (*)(const void* a, uint32_t lengthA, const void* b, uint32_t lengthB);
using TreeAllocate = void* (*)(size_t size);
using TreeRelease = void (*)(void* memory);

// Frees the tree: nodes, page files and all. A null tree is ignored.
void TreeFree(Tree* tree);

struct TreeFreer {
  void operator()(Tree* tree) const { TreeFree(tree); }
};
using TreeHandle = std::unique_ptr<Tree, TreeFreer>;

// A key in the tree's own memory. Valid until the next operation on the tree; a null record means
// that there is no such key.
class KeyRecord {
 public:
  // In the record's image, which begins with 8 bytes of link.
  static constexpr size_t kLengthOffset = 8;
  static constexpr size_t kKeyOffset = 12;

  KeyRecord() = default;
  KeyRecord(unsigned char* start, unsigned char* extra) : start_(start), extra_(extra) {}
  explicit operator bool() const { return start_ != nullptr; }
  const unsigned char* key() const { return start_ + kKeyOffset; }
  uint32_t length() const {
    uint32_t length;
    std::memcpy(&length, start_ + kLengthOffset, sizeof length);
    return length;
  }
  // The extra bytes, which need not be aligned and may be changed in place; null when the tree has
  // none.
  unsigned char* extra() const { return extra_; }

 private:
  unsigned char* start_ = nullptr;
  unsigned char* extra_ = nullptr;
};

inline constexpr uint32_t kTreeShared = 0x1;  // one page file and one node counter for both kinds

// The settings of a new tree. Memory: 0 = the default budget (50,000,000 bytes of tree nodes,
// 100,000,000 bytes of key nodes), positive = bytes, negative = minus the number of nodes. A budget
// below one node counts as one node.
struct TreeSettings {
  uint32_t flags = 0;
  uint32_t fanOut = 0;  // entries per tree node, at least 2
  int32_t treeMemory = 0;
  const char* treeFileName = nullptr;  // null = a temporary name
  uint32_t keysPerKeyNode = 0;         // at least 1
  uint32_t maxKeyBytes = 0;            // a longer key ends the run
  uint32_t extraBytes = 0;
  int32_t keyMemory = 0;
  const char* keyFileName = nullptr;  // null = a temporary name
  TreeAllocate allocate = nullptr;    // of the handle and the nodes; null = checked memory
  TreeRelease release = nullptr;      // null = std::free
  TreeCompare compare = nullptr;      // null = _keyCmp
};

// Plants an empty tree. Its page files are made at once but used only when nodes have to leave
// memory: a file that could not be made, or cannot be written or read back whole, ends the run
// then, with its name and the system error. So does exhausted memory, with the message of
// GetTreeMem.
TreeHandle TreePlant(const TreeSettings& settings);

// Adds a key with a copy of its extra bytes (zero when null). False when an equal key is there,
// which stays as it is. Ascending keys fill their nodes completely and cost one comparison each.
bool TreeAddKey(Tree* tree, const void* key, uint32_t length, const void* extra);
// The record of the equal key. Sets the tree's one cursor there, or where the key would go.
KeyRecord TreeSearch(Tree* tree, const void* key, uint32_t length);
// The first key; it sets the cursor, which the next call moves. None past the end. Keys must not be
// added while the cursor is in use.
KeyRecord TreeLowKey(Tree* tree);
KeyRecord TreeNextKey(Tree* tree);

// Byte order of the common length; if equal, the shorter key first. Returns -1, 0 or 1.
int _keyCmp(const void* a, uint32_t lengthA, const void* b, uint32_t lengthB);

}  // namespace tabulon
