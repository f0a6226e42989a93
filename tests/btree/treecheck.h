// What the tests of this folder plant trees and look at them with.
#pragma once

#include <string>
#include <vector>

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

}  // namespace tabulon
