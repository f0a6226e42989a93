// Completes the module btree: whether a loaded tree is sound.
#include <vector>

#include "btree/btreeinternal.h"

namespace tabulon {
namespace {

// Which numbers are tree nodes, as far as the check has come.
using NodeSet = std::vector<bool>;

// With a shared page file a number that serves as a tree node is no key node.
bool KeySlotFits(const Tree& tree, const NodeSet& seen, KeySlot key) {
  if (key.node == 0 || key.node >= tree.keyNodes.byNumber.size()) return false;
  const bool shared = (tree.flags & kTreeShared) != 0;
  const bool isTreeNode = shared && key.node < seen.size() && seen[key.node];
  return !isTreeNode && key.slot < tree.keysPerKeyNode;
}

bool KeyFits(Tree& tree, const NodeSet& seen, KeySlot key) {
  if (!KeySlotFits(tree, seen, key)) return false;
  uint32_t length;
  std::memcpy(&length, RecordAt(tree, key) + kKeyLengthOffset, sizeof length);
  return length <= tree.maxKeyBytes;
}

struct Place {
  int32_t level;
  uint32_t previous;
  uint32_t parent;
};

// Checks a node that has not been met before and should stand at `place`, its entries apart.
bool NodeFits(Tree& tree, NodeSet& seen, uint32_t number, const Place& place) {
  if (number == 0 || number >= seen.size() || seen[number]) return false;
  seen[number] = true;
  const TreeNode& node = TreeNodeAt(tree, number);
  return node.level == place.level && node.previous == place.previous &&
         node.parent == place.parent && node.capacity == tree.fanOut &&
         node.header.count <= node.capacity && (node.level == 0 || node.header.count > 0);
}

// Checks the level below the one that begins with node `first`: the children are, one behind the
// other, the chain of that level. Returns its first node, 0 when something does not fit.
uint32_t LevelBelow(Tree& tree, NodeSet& seen, uint32_t first) {
  uint32_t lowest = 0;
  uint32_t previous = 0;
  for (uint32_t number = first; number != 0;) {
    const TreeNode& node = TreeNodeAt(tree, number);
    const uint32_t next = node.next;
    const int32_t level = node.level - 1;
    const std::vector<Entry> entries(Entries(node) + FirstUsed(node),
                                     Entries(node) + node.capacity);
    for (const Entry& entry : entries) {
      if (!NodeFits(tree, seen, entry.child, {level, previous, number})) return 0;
      if (previous != 0 && TreeNodeAt(tree, previous).next != entry.child) return 0;
      if (previous == 0) lowest = entry.child;
      previous = entry.child;
    }
    number = next;
  }
  return TreeNodeAt(tree, previous).next == 0 ? lowest : 0;
}

bool KeysFit(Tree& tree, const NodeSet& seen) {
  for (uint32_t number = 1; number < seen.size(); ++number) {
    if (!seen[number]) continue;
    const TreeNode& node = TreeNodeAt(tree, number);
    for (uint32_t i = FirstUsed(node); i < node.capacity; ++i) {
      if (!KeyFits(tree, seen, Entries(node)[i].key)) return false;
    }
  }
  return true;
}

// A chain that comes back to itself is as long as it likes: deleting a doubled key makes one.
bool FreeChainFits(Tree& tree, const NodeSet& seen) {
  KeySlot slot = tree.freeSlot;
  uint64_t left = tree.keyNodes.byNumber.size() * uint64_t{tree.keysPerKeyNode};
  for (; slot.node != 0 && left > 0; --left) {
    if (!KeySlotFits(tree, seen, slot)) return false;
    std::memcpy(&slot, RecordAt(tree, slot), sizeof slot);
  }
  return true;
}

// Checks the tree nodes, and notes their numbers in `seen`.
bool NodesFit(Tree& tree, NodeSet& seen) {
  if (tree.root == 0) return true;
  if (tree.root >= seen.size()) return false;
  const int32_t top = TreeNodeAt(tree, tree.root).level;
  if (top < 0 || !NodeFits(tree, seen, tree.root, {top, 0, 0})) return false;
  if (TreeNodeAt(tree, tree.root).next != 0) return false;
  uint32_t first = tree.root;
  for (int32_t level = top; level > 0 && first != 0; --level) first = LevelBelow(tree, seen, first);
  return first != 0;
}

}  // namespace

bool TreeIsSound(Tree& tree) {
  NodeSet seen(tree.treeNodes.byNumber.size());
  if (!NodesFit(tree, seen)) return false;
  const uint32_t at = tree.cursor.node;
  const bool cursorFits = at == 0 || (at < seen.size() && seen[at]);
  return cursorFits && KeysFit(tree, seen) && FreeChainFits(tree, seen);
}

}  // namespace tabulon
