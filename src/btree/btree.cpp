#include "btree/btree.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <new>
#include <utility>
#include <vector>

#include "base/loganderr.h"
#include "base/utils.h"
#include "btree/nodes.h"

namespace tabulon {

namespace {

constexpr uint32_t kDefaultTreeMemory = 50'000'000;
constexpr uint32_t kDefaultKeyMemory = 100'000'000;
constexpr const char* kTreePageName = "tpage.tmp";
constexpr const char* kKeyPageName = "kpage.tmp";

void* CheckedMemory(size_t size) {
  return GetTreeMem(size).release();
}

uint32_t ResidentNodes(int32_t memory, uint32_t defaultMemory, size_t nodeSize) {
  if (memory < 0) return static_cast<uint32_t>(-int64_t{memory});
  const uint64_t bytes = memory == 0 ? defaultMemory : static_cast<uint32_t>(memory);
  return static_cast<uint32_t>(std::max<uint64_t>(bytes / nodeSize, 1));
}

void SetUpTable(NodeTable& table, size_t nodeSize, uint32_t capacity, PageFile& pages,
                TreeAllocate allocate, TreeRelease release) {
  table.nodeSize = nodeSize;
  table.capacity = capacity;
  table.pages = &pages;
  table.allocate = allocate;
  table.release = release;
}

void CreatePageFiles(Tree& tree, const TreeSettings& settings) {
  const size_t treeSize = tree.treeNodes.nodeSize;
  const size_t keySize = tree.keyNodes.nodeSize;
  if ((tree.flags & kTreeShared) != 0) {
    // One run of numbers for two sizes of node: a page holds either.
    tree.treePages.Create(settings.treeFileName, kTreePageName, std::max(treeSize, keySize));
  } else {
    tree.keyPages.Create(settings.keyFileName, kKeyPageName, keySize);
    tree.treePages.Create(settings.treeFileName, kTreePageName, treeSize);
  }
}

struct Bound {
  uint32_t index;
  bool equal;
};

// The first used entry of a node whose key is not less than `key`; the capacity when there is none.
Bound LowerBound(Tree& tree, const TreeNode& node, const SearchKey& key) {
  uint32_t low = FirstUsed(node);
  uint32_t high = node.capacity;
  while (low < high) {
    const uint32_t middle = low + (high - low) / 2;
    const int order = CompareWith(tree, key, Entries(node)[middle].key);
    if (order == 0) return {middle, true};
    if (order < 0) {
      high = middle;
    } else {
      low = middle + 1;
    }
  }
  return {low, false};
}

bool BehindEveryKey(Tree& tree, const SearchKey& key) {
  TreeNode& root = TreeNodeAt(tree, tree.root);
  return root.header.count == 0 || CompareWith(tree, key, LastEntry(root).key) > 0;
}

// Sets the cursor on the key that inner entry `entry` repeats: the last key of the rightmost leaf
// below it. If that key was deleted, the cursor is set after the leaf's last key.
bool SetCursorBelow(Tree& tree, const Entry& entry) {
  const uint32_t number = LeafBelow(tree, entry.child, TreeSide::kRight);
  TreeNode& leaf = TreeNodeAt(tree, number);
  const bool there = leaf.header.count > 0 && LastEntry(leaf).key == entry.key;
  tree.cursor = {number, there ? leaf.capacity - 1 : leaf.capacity};
  return there;
}

}  // namespace

TreeHandle TreePlant(const TreeSettings& settings) {
  const TreeAllocate allocate = settings.allocate != nullptr ? settings.allocate : CheckedMemory;
  const TreeRelease release = settings.release != nullptr ? settings.release : std::free;
  void* memory = allocate(sizeof(Tree));
  if (memory == nullptr) MemoryErrExit(L"tree alloc");
  TreeHandle handle(new (memory) Tree);
  Tree& tree = *handle;
  tree.flags = settings.flags;
  tree.fanOut = settings.fanOut;
  tree.keysPerKeyNode = settings.keysPerKeyNode;
  tree.release = release;
  tree.compare = settings.compare != nullptr ? settings.compare : _keyCmp;
  tree.maxKeyBytes = settings.maxKeyBytes;
  tree.extraBytes = settings.extraBytes;
  tree.recordSize = size_t{settings.maxKeyBytes} + settings.extraBytes + kKeyOffset;

  const size_t treeSize = size_t{settings.fanOut} * sizeof(Entry) + sizeof(TreeNode);
  const size_t keySize = settings.keysPerKeyNode * tree.recordSize + sizeof(NodeHeader);
  const bool shared = (settings.flags & kTreeShared) != 0;
  SetUpTable(tree.treeNodes, treeSize,
             ResidentNodes(settings.treeMemory, kDefaultTreeMemory, treeSize), tree.treePages,
             allocate, release);
  SetUpTable(tree.keyNodes, keySize, ResidentNodes(settings.keyMemory, kDefaultKeyMemory, keySize),
             shared ? tree.treePages : tree.keyPages, allocate, release);
  CreatePageFiles(tree, settings);
  return handle;
}

void TreeFree(Tree* tree) {
  if (tree == nullptr) return;
  const TreeRelease release = tree->release;
  tree->~Tree();
  release(tree);
}

uint32_t LeafBelow(Tree& tree, uint32_t number, TreeSide side) {
  for (;;) {
    const TreeNode& node = TreeNodeAt(tree, number);
    if (node.level < 1) return number;
    const uint32_t index = side == TreeSide::kLeft ? FirstUsed(node) : node.capacity - 1;
    number = Entries(node)[index].child;
  }
}

bool _treeSearch(Tree& tree, const SearchKey& key) {
  tree.cursor = {};
  if (tree.root == 0 || BehindEveryKey(tree, key)) return false;
  for (uint32_t number = tree.root;;) {
    const TreeNode& node = TreeNodeAt(tree, number);
    const Bound bound = LowerBound(tree, node, key);
    if (node.level < 1) {
      tree.cursor = {number, bound.index};
      return bound.equal;
    }
    // When a deleted key's slot has been taken by a lower key, the bound of an inner node is lower
    // too, and no entry may be left for this key; then its place is in the last child.
    const Entry entry = Entries(node)[std::min(bound.index, node.capacity - 1)];
    if (bound.equal) return SetCursorBelow(tree, entry);
    number = entry.child;
  }
}

KeyRecord TreeSearch(Tree* tree, const void* key, uint32_t length) {
  if (tree == nullptr || !_treeSearch(*tree, {key, length})) return {};
  const TreeNode& leaf = TreeNodeAt(*tree, tree->cursor.node);
  return RecordOf(*tree, Entries(leaf)[tree->cursor.entry].key);
}

KeyRecord TreeLowKey(Tree* tree) {
  if (tree == nullptr || tree->root == 0) return {};
  // UINT32_MAX + 1 wraps to 0: TreeNextKey starts at the leaf's first entry, and goes on to the
  // next leaf when this one has lost all its keys.
  tree->cursor = {LeafBelow(*tree, tree->root, TreeSide::kLeft), UINT32_MAX};
  return TreeNextKey(tree);
}

KeyRecord TreeNextKey(Tree* tree) {
  if (tree == nullptr || tree->cursor.node == 0) return {};
  Cursor& cursor = tree->cursor;
  const TreeNode* node = &TreeNodeAt(*tree, cursor.node);
  cursor.entry = std::max(cursor.entry + 1, FirstUsed(*node));
  while (cursor.entry >= node->capacity) {
    if (node->next == 0) {
      cursor = {};
      return {};
    }
    cursor.node = node->next;
    node = &TreeNodeAt(*tree, cursor.node);
    cursor.entry = FirstUsed(*node);
  }
  return RecordOf(*tree, Entries(*node)[cursor.entry].key);
}

int _keyCmp(const void* a, uint32_t lengthA, const void* b, uint32_t lengthB) {
  const uint32_t common = std::min(lengthA, lengthB);
  const int order = common > 0 ? std::memcmp(a, b, common) : 0;
  if (order != 0) return order < 0 ? -1 : 1;
  return lengthA == lengthB ? 0 : lengthA < lengthB ? -1 : 1;
}

namespace {

// Makes a key node and puts its slots, in their order, at the head of the free chain.
void AddKeyNode(Tree& tree) {
  const uint32_t number = _getNewNode(tree.keyNodes)->number;
  for (uint32_t slot = 0; slot < tree.keysPerKeyNode; ++slot) {
    const KeySlot next = slot + 1 < tree.keysPerKeyNode ? KeySlot{number, slot + 1} : tree.freeSlot;
    std::memcpy(RecordAt(tree, {number, slot}), &next, sizeof next);
  }
  tree.freeSlot = {number, 0};
}

KeySlot StoreKey(Tree& tree, const SearchKey& key, const void* extra) {
  if (tree.freeSlot.node == 0) AddKeyNode(tree);
  const KeySlot slot = tree.freeSlot;
  unsigned char* record = RecordAt(tree, slot);
  std::memcpy(&tree.freeSlot, record, sizeof tree.freeSlot);
  std::memset(record, 0, sizeof(KeySlot));
  std::memcpy(record + kKeyLengthOffset, &key.length, sizeof key.length);
  if (key.length > 0) std::memcpy(record + kKeyOffset, key.bytes, key.length);
  unsigned char* extraRoom = record + kKeyOffset + tree.maxKeyBytes;
  if (extra != nullptr) {
    std::memcpy(extraRoom, extra, tree.extraBytes);
  } else {
    std::memset(extraRoom, 0, tree.extraBytes);
  }
  return slot;
}

TreeNode& NewTreeNode(Tree& tree, int32_t level) {
  auto& node = *reinterpret_cast<TreeNode*>(_getNewNode(tree.treeNodes));
  node.level = level;
  node.capacity = tree.fanOut;
  return node;
}

// Puts an entry before position `index` of a node with room. The used entries before it move one
// place towards the start of the array, where the free places are. An appended entry moves all of
// them: the fan-out bounds the cost.
void PlaceEntry(TreeNode& node, uint32_t index, const Entry& entry) {
  Entry* entries = Entries(node);
  const uint32_t first = FirstUsed(node);
  std::memmove(entries + first - 1, entries + first, (index - first) * sizeof(Entry));
  entries[index - 1] = entry;
  ++node.header.count;
}

// Makes a root of two children, one level above them. Returns its number.
uint32_t AddRoot(Tree& tree, int32_t level, const Entry& lower, const Entry& upper) {
  TreeNode& root = NewTreeNode(tree, level);
  const uint32_t number = root.header.number;
  PlaceEntry(root, root.capacity, lower);
  PlaceEntry(root, root.capacity, upper);
  tree.root = number;
  TreeNodeAt(tree, lower.child).parent = number;
  TreeNodeAt(tree, upper.child).parent = number;
  return number;
}

uint32_t InsertEntry(Tree& tree, uint32_t number, uint32_t index, const Entry& entry);

// Enters the node `lower`, which was split off from the node `upper`, before it in the parent.
void EnterInParent(Tree& tree, uint32_t parent, const Entry& lower, uint32_t upper) {
  const TreeNode& node = TreeNodeAt(tree, parent);
  uint32_t index = FirstUsed(node);
  while (Entries(node)[index].child != upper) ++index;
  const uint32_t taker = InsertEntry(tree, parent, index, lower);
  TreeNodeAt(tree, lower.child).parent = taker;
}

// Splits a full node: its lower half moves to a new node before it on the same level. So the node
// keeps its highest key, which its parent repeats, and the parent only gets one entry more. Returns
// the new node.
uint32_t _splitNode(Tree& tree, uint32_t upper) {
  const int32_t level = TreeNodeAt(tree, upper).level;
  const uint32_t lower = NewTreeNode(tree, level).header.number;
  const uint32_t half = tree.fanOut / 2;

  TreeNode& old = TreeNodeAt(tree, upper);
  const std::vector<Entry> moved(Entries(old), Entries(old) + half);
  std::memset(static_cast<void*>(Entries(old)), kUnusedEntryByte, half * sizeof(Entry));
  old.header.count -= half;
  const uint32_t previous = std::exchange(old.previous, lower);
  const uint32_t parent = old.parent;
  const KeySlot upperHighest = LastEntry(old).key;

  TreeNode& made = TreeNodeAt(tree, lower);
  std::copy(moved.begin(), moved.end(), Entries(made) + (made.capacity - half));
  made.header.count = half;
  made.previous = previous;
  made.next = upper;
  if (previous != 0) TreeNodeAt(tree, previous).next = lower;
  if (level > 0) {
    for (const Entry& entry : moved) TreeNodeAt(tree, entry.child).parent = lower;
  }

  const Entry lowerEntry{lower, moved.back().key};
  if (parent != 0) {
    EnterInParent(tree, parent, lowerEntry, upper);
  } else {
    AddRoot(tree, level + 1, lowerEntry, {upper, upperHighest});
  }
  return lower;
}

// Puts an entry before position `index` of a node, which is split first when it is full.
// Returns the node that took the entry.
uint32_t InsertEntry(Tree& tree, uint32_t number, uint32_t index, const Entry& entry) {
  if (TreeNodeAt(tree, number).header.count == tree.fanOut) {
    const uint32_t lower = _splitNode(tree, number);
    const uint32_t half = tree.fanOut / 2;
    if (index < half) {
      number = lower;
      index += tree.fanOut - half;
    }
  }
  PlaceEntry(TreeNodeAt(tree, number), index, entry);
  return number;
}

// Appends an entry after all entries of a level's last node. Returns the node that took it.
//
// Every key that comes after all others is added here, and so are ascending keys. That needs no
// search: one comparison, one step down for each level, and one step up for each to set the highest
// keys of the ancestors. A full node is not split but gets a neighbour. So ascending keys leave
// full nodes, where splitting would leave them half empty; the price is that the last node of a
// level may hold a single entry.
uint32_t _appendToTree(Tree& tree, uint32_t number, const Entry& entry) {
  TreeNode& node = TreeNodeAt(tree, number);
  const int32_t level = node.level;
  const uint32_t parent = node.parent;
  if (node.header.count < node.capacity) {
    PlaceEntry(node, node.capacity, entry);
    for (uint32_t up = parent; up != 0;) {
      TreeNode& ancestor = TreeNodeAt(tree, up);
      LastEntry(ancestor).key = entry.key;
      up = ancestor.parent;
    }
    return number;
  }
  const KeySlot highest = LastEntry(node).key;
  TreeNode& made = NewTreeNode(tree, level);
  const uint32_t neighbour = made.header.number;
  PlaceEntry(made, made.capacity, entry);
  made.previous = number;
  TreeNodeAt(tree, number).next = neighbour;
  if (parent != 0) {
    const uint32_t taker = _appendToTree(tree, parent, {neighbour, entry.key});
    TreeNodeAt(tree, neighbour).parent = taker;
  } else {
    AddRoot(tree, level + 1, {number, highest}, {neighbour, entry.key});
  }
  return neighbour;
}

}  // namespace

bool TreeAddKey(Tree* tree, const void* key, uint32_t length, const void* extra) {
  if (length > tree->maxKeyBytes) ErrExit(L"Tree key too long\n");
  // When the tree has the key already, this slot is not given back. Kept so; it costs the room of
  // one record in the key nodes.
  const Entry entry{0, StoreKey(*tree, {key, length}, extra)};
  if (tree->root == 0) {
    TreeNode& leaf = NewTreeNode(*tree, 0);
    tree->root = leaf.header.number;
    PlaceEntry(leaf, leaf.capacity, entry);
    return true;
  }
  if (_treeSearch(*tree, {key, length})) return false;
  if (tree->cursor.node != 0) {
    InsertEntry(*tree, tree->cursor.node, tree->cursor.entry, entry);
  } else {
    _appendToTree(*tree, LeafBelow(*tree, tree->root, TreeSide::kRight), entry);
  }
  return true;
}

}  // namespace tabulon
