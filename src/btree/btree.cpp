#include "btree/btree.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <new>

#include "base/loganderr.h"
#include "base/utils.h"
#include "btree/btreeinternal.h"

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

// Sets the cursor on the key that inner entry `entry` repeats: the last one of the leaf at the
// right end below. It is gone from there when it was deleted; then the cursor is set behind the
// leaf's last key.
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
    // A key's slot that was given back and taken again can lower a bound; the last child it is
    // then.
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
  // One step in front of the leaf, and on from there: a leaf can have lost all its keys.
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

}  // namespace tabulon
