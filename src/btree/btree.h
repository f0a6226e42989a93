// A B+-tree of byte-string keys whose nodes live in a bounded table in memory and page out to
// temporary files by least recent use: an ordered set of any size within a fixed memory budget.
// Keys are stored apart from the tree's structure; each carries a block of extra bytes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

namespace tabulon {

struct Tree;

// Negative, zero or positive, as a stands before, at or behind b.
using TreeCompare = int (*)(const void* a, uint32_t lengthA, const void* b, uint32_t lengthB);
using TreeAllocate = void* (*)(size_t size);
using TreeRelease = void (*)(void* memory);

// Frees the tree: nodes, page files and all. A null tree is ignored.
void TreeFree(Tree* tree);

struct TreeFreer {
  void operator()(Tree* tree) const { TreeFree(tree); }
};
using TreeHandle = std::unique_ptr<Tree, TreeFreer>;

// A key as it stands in the tree. Valid until the next operation on the tree; a null record stands
// for "none".
class KeyRecord {
 public:
  KeyRecord() = default;
  explicit KeyRecord(unsigned char* start) : start_(start) {}
  explicit operator bool() const { return start_ != nullptr; }
  const unsigned char* key() const;
  uint32_t length() const;
  // The extra bytes, which may be changed in place; null when the tree has none.
  unsigned char* extra() const;

 private:
  unsigned char* start_ = nullptr;
};

inline constexpr uint32_t kTreeShared = 0x1;  // one page file and one node counter for both kinds

// The settings of a new tree. Memory: 0 = the default budget (50,000,000 bytes of tree nodes,
// 100,000,000 bytes of key nodes), positive = bytes, negative = minus the number of nodes.
struct TreeSettings {
  uint32_t flags = 0;
  uint32_t fanOut = 0;          // entries per tree node
  int32_t treeMemory = 0;
  const char* treeFileName = nullptr;  // null = a temporary name
  uint32_t keysPerKeyNode = 0;
  uint32_t maxKeyBytes = 0;     // REQUIRES: no key is longer
  uint32_t extraBytes = 0;
  int32_t keyMemory = 0;
  const char* keyFileName = nullptr;   // null = a temporary name
  TreeAllocate allocate = nullptr;     // null = checked memory: exhaustion ends the run
  TreeRelease release = nullptr;
  TreeCompare compare = nullptr;       // null = _keyCmp
};
TreeHandle TreePlant(const TreeSettings& settings);

// Adds a key with a copy of its extra bytes (zero when null). False when an equal key is there.
bool TreeAddKey(Tree* tree, const void* key, uint32_t length, const void* extra);
KeyRecord TreeSearch(Tree* tree, const void* key, uint32_t length);
// The first and the last key; they set the tree's one cursor, which the next two move. None past
// the end. Keys must not be added while the cursor is in use.
KeyRecord TreeLowKey(Tree* tree);
KeyRecord TreeHighKey(Tree* tree);
KeyRecord TreeNextKey(Tree* tree);
KeyRecord TreePrevKey(Tree* tree);
bool TreeDeleteKey(Tree* tree, const void* key, uint32_t length);

// Byte order of the common length; if equal, the shorter key first.
int _keyCmp(const void* a, uint32_t lengthA, const void* b, uint32_t lengthB);

}  // namespace tabulon
