// The inside of a tree, shared by the sources of this folder and by their tests.
//
// Tree node (fan-out x 12 + 48 bytes), in memory and in the page file:
//   0  NodeHeader
//  24  i32  level: 0 = leaf
//  28  u32  capacity: the fan-out
//  32  u32  previous node of the same level, 0 = none
//  36  u32  next node of the same level, 0 = none
//  40  u32  parent node, 0 = this is the root
//  44  4 bytes without use
//  48  fan-out x 12: entries. Those in use are at the END of the array, in ascending order.
//
// Key node (keys per key node x record size + 24 bytes): NodeHeader, then the key records:
//   0  8 bytes: while the slot is free the next free slot (u32 node, u32 slot), else 0
//   8  u32  key length
//  12  key bytes (maxKeyBytes of room), then the extra bytes
//
// Every leaf entry has a key of its own; the entry of an inner node repeats the highest key of the
// subtree below it. Any access may move a node out of memory: the code hands node numbers around,
// and keeps an image only up to the next access to a node of the same kind.
//
// The resident nodes of one kind are in a bounded table in memory; the others are in a page file.
// Code names a node by its number. A node that is not resident takes the place of the one that has
// not been used for the longest time, which is written to the page file first.
//
// Both kinds of node begin with the same 24 bytes:
//   0  u32  node number, from 1
//   4  u32  entries in use (tree nodes; 0 in key nodes)
//   8  u64  in a saved tree the number of the node used just before, 0 = none; else 0
//  16  u64  in a saved tree the number of the node used just after, 0 = none; else 0
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <span>
#include <utility>
#include <vector>

#include "btree/btree.h"
#include "btree/pagefile.h"

namespace tabulon {

struct NodeHeader {
  uint32_t number;
  uint32_t count;
  uint64_t lruPrevious;
  uint64_t lruNext;
};
static_assert(sizeof(NodeHeader) == 24);

struct ResidentNode {
  NodeHeader* image = nullptr;  // null while the node is in the page file only
  uint64_t lastUse = 0;         // the table's clock at the last access
};

struct NodeTable {
  size_t nodeSize = 0;
  uint32_t capacity = 0;  // resident nodes at most
  PageFile* pages = nullptr;
  TreeAllocate allocate = nullptr;
  TreeRelease release = nullptr;
  std::vector<std::unique_ptr<NodeHeader, TreeRelease>> images;  // of the resident nodes
  std::vector<ResidentNode> byNumber;  // every node there is, 16 bytes each; nothing at 0
  uint64_t clock = 0;
  // A snapshot of the resident nodes by last use, the oldest at the back. An access to a node does
  // not touch this list (no linked list is kept in order on the hot path); it only sets lastUse. A
  // node used since the snapshot is newer than all nodes in it, so the rearmost node that was not
  // used since then is the oldest of all.
  std::vector<std::pair<uint64_t, uint32_t>> byAge;
};

// Brings a node that is not resident into memory.
void _pageIn(NodeTable& table, uint32_t number);

// A node's image, which becomes the most recently used. Valid until the next _nodeAddr or
// _getNewNode of the same table.
inline NodeHeader* _nodeAddr(NodeTable& table, uint32_t number) {
  ResidentNode& node = table.byNumber[number];
  if (node.image == nullptr) [[unlikely]]
    _pageIn(table, number);
  node.lastUse = ++table.clock;
  return node.image;
}

// A new node, zero but for its number, most recently used. Valid as above.
NodeHeader* _getNewNode(NodeTable& table);

// The resident nodes in ascending order of their numbers.
std::vector<uint32_t> ResidentNumbers(const NodeTable& table);
// Writes every resident node to its page, linked by number in the order of use.
void FlushForSave(NodeTable& table);
// Makes the nodes `numbers`, and no others, resident from the pages that FlushForSave wrote. False
// when their links do not fit together. REQUIRES: each number is above 0 and below the next number;
// the pages hold what the table holds.
bool FixNodeTable(NodeTable& table, std::span<const uint32_t> numbers);

struct KeySlot {
  uint32_t node = 0;
  uint32_t slot = 0;
  bool operator==(const KeySlot&) const = default;
};

struct Entry {
  uint32_t child;  // 0 in a leaf
  KeySlot key;
};
static_assert(sizeof(Entry) == 12);

struct TreeNode {
  NodeHeader header;
  int32_t level;
  uint32_t capacity;
  uint32_t previous;
  uint32_t next;
  uint32_t parent;
  uint32_t reserved;
};
static_assert(sizeof(TreeNode) == 48);

inline constexpr size_t kKeyLengthOffset = KeyRecord::kLengthOffset;
inline constexpr size_t kKeyOffset = KeyRecord::kKeyOffset;
inline constexpr int kUnusedEntryByte = 0xAA;

struct Cursor {
  uint32_t node = 0;  // 0 = no position
  uint32_t entry = 0;
};

// A search key, as the caller gave it.
struct SearchKey {
  const void* bytes;
  uint32_t length;
};

struct Tree {
  uint32_t flags = 0;
  uint32_t root = 0;  // 0 = no key yet
  Cursor cursor;
  uint32_t fanOut = 0;
  uint32_t keysPerKeyNode = 0;
  TreeRelease release = nullptr;
  TreeCompare compare = nullptr;
  uint32_t maxKeyBytes = 0;
  uint32_t extraBytes = 0;
  size_t recordSize = 0;
  KeySlot freeSlot;    // head of the chain of free slots
  PageFile treePages;  // of both kinds of node when shared
  PageFile keyPages;
  NodeTable treeNodes;
  NodeTable keyNodes;
};

inline TreeNode& TreeNodeAt(Tree& tree, uint32_t number) {
  return *reinterpret_cast<TreeNode*>(_nodeAddr(tree.treeNodes, number));
}

inline Entry* Entries(TreeNode& node) {
  return reinterpret_cast<Entry*>(&node + 1);
}
inline const Entry* Entries(const TreeNode& node) {
  return reinterpret_cast<const Entry*>(&node + 1);
}
inline uint32_t FirstUsed(const TreeNode& node) {
  return node.capacity - node.header.count;
}
inline Entry& LastEntry(TreeNode& node) {
  return Entries(node)[node.capacity - 1];
}

// The image of a key record.
inline unsigned char* RecordAt(Tree& tree, KeySlot key) {
  auto* node = reinterpret_cast<unsigned char*>(_nodeAddr(tree.keyNodes, key.node));
  return node + sizeof(NodeHeader) + key.slot * tree.recordSize;
}

inline KeyRecord RecordOf(Tree& tree, KeySlot key) {
  unsigned char* record = RecordAt(tree, key);
  return {record, tree.extraBytes != 0 ? record + kKeyOffset + tree.maxKeyBytes : nullptr};
}

// How `key` compares with a stored key.
inline int CompareWith(Tree& tree, const SearchKey& key, KeySlot stored) {
  const unsigned char* record = RecordAt(tree, stored);
  uint32_t length;
  std::memcpy(&length, record + kKeyLengthOffset, sizeof length);
  return tree.compare(key.bytes, key.length, record + kKeyOffset, length);
}

// Looks for a key and sets the cursor: on the key, or on the first entry after it. A key that comes
// after every stored key leaves no cursor.
bool _treeSearch(Tree& tree, const SearchKey& key);

// The leaf at the left or the right end of the subtree below node `number`.
enum class TreeSide { kLeft, kRight };
uint32_t LeafBelow(Tree& tree, uint32_t number, TreeSide side);

// Whether every number in the tree points where it should: levels, chains, parents, key slots. It
// does not look at the order of the keys. Every operation is safe on a tree that it accepts.
bool TreeIsSound(Tree& tree);

}  // namespace tabulon
