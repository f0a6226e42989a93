// The resident nodes of one kind: a bounded table in memory in front of a page file. A node is
// reached by its number; when it is not resident it takes the place of the node that has gone
// longest without use, which is written to the page file first.
//
// Both kinds of node begin with the same 24 bytes:
//   0  u32  node number, from 1
//   4  u32  entries in use (tree nodes; 0 in key nodes)
//   8  u64  in a saved tree the number of the node used just before, 0 = none; else 0
//  16  u64  in a saved tree the number of the node used just after, 0 = none; else 0
#pragma once

#include <cstddef>
#include <cstdint>
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
  // Nodes in the order of their last use when it was taken, the oldest at the back. A node used
  // since then is newer than all of them, so the first one not used since is the oldest of all.
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
// when their links do not fit together. REQUIRES: 0 < numbers < the next number; pages that hold
// what the table holds.
bool FixNodeTable(NodeTable& table, std::span<const uint32_t> numbers);

}  // namespace tabulon
