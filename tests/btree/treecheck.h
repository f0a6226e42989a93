// What must always hold inside a tree that no key was deleted from, and small helpers to look at
// trees with; for the tests of this folder.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "btree/nodes.h"
#include "btree/rest.h"

namespace tabulon {

// A tree with room for so many resident nodes of each kind.
inline TreeSettings Settings(uint32_t fanOut, int32_t treeNodes, uint32_t keysPerKeyNode,
                             int32_t keyNodes, uint32_t extraBytes = 0, uint32_t flags = 0,
                             TreeCompare compare = nullptr) {
  TreeSettings settings;
  settings.fanOut = fanOut;
  settings.treeMemory = -treeNodes;
  settings.keysPerKeyNode = keysPerKeyNode;
  settings.keyMemory = -keyNodes;
  settings.maxKeyBytes = 11;
  settings.extraBytes = extraBytes;
  settings.flags = flags;
  settings.compare = compare;
  return settings;
}

inline std::string KeyText(KeyRecord record) {
  return {reinterpret_cast<const char*>(record.key()), record.length()};
}

inline bool Add(const TreeHandle& tree, const std::string& key, const void* extra = nullptr) {
  return TreeAddKey(tree.get(), key.data(), static_cast<uint32_t>(key.size()), extra);
}

inline KeyRecord Find(const TreeHandle& tree, const std::string& key) {
  return TreeSearch(tree.get(), key.data(), static_cast<uint32_t>(key.size()));
}

// The keys from the lowest to the highest.
inline std::vector<std::string> Keys(const TreeHandle& tree) {
  std::vector<std::string> keys;
  for (KeyRecord r = TreeLowKey(tree.get()); r; r = TreeNextKey(tree.get())) {
    keys.push_back(KeyText(r));
  }
  return keys;
}

inline std::vector<Entry> UsedEntries(Tree& tree, uint32_t number) {
  const TreeNode& node = TreeNodeAt(tree, number);
  return {Entries(node) + FirstUsed(node), Entries(node) + node.capacity};
}

inline std::string KeyAt(Tree& tree, KeySlot slot) {
  return KeyText({RecordAt(tree, slot), nullptr});
}

// Walks the whole tree: links and numbers, keys in order within every node, every inner entry the
// highest key below it, no more nodes resident than allowed.
inline void CheckTree(Tree& tree, size_t keys) {
  ASSERT_TRUE(TreeIsSound(tree));
  ASSERT_LE(tree.treeNodes.images.size(), tree.treeNodes.capacity);
  ASSERT_LE(tree.keyNodes.images.size(), tree.keyNodes.capacity);
  size_t counted = 0;
  std::vector<uint32_t> open{tree.root};
  while (!open.empty() && tree.root != 0) {
    const uint32_t number = open.back();
    open.pop_back();
    const bool leaf = TreeNodeAt(tree, number).level == 0;
    const std::vector<Entry> entries = UsedEntries(tree, number);
    for (size_t i = 0; i < entries.size(); ++i) {
      if (i > 0) {
        const std::string before = KeyAt(tree, entries[i - 1].key);
        const SearchKey key{before.data(), static_cast<uint32_t>(before.size())};
        ASSERT_LT(CompareWith(tree, key, entries[i].key), 0) << "node " << number;
      }
      if (leaf) continue;
      ASSERT_EQ(UsedEntries(tree, entries[i].child).back().key, entries[i].key);
      open.push_back(entries[i].child);
    }
    if (leaf) counted += entries.size();
  }
  ASSERT_EQ(counted, keys);
}

}  // namespace tabulon
