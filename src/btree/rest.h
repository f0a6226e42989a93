// Completes the module btree: the way back, deleting and saving, which this program does not use.
#pragma once

#include <sys/types.h>

#include <cstdint>

#include "btree/btree.h"

namespace tabulon {

// The last key, and the one before the cursor; as TreeLowKey and TreeNextKey.
KeyRecord TreeHighKey(Tree* tree);
KeyRecord TreePrevKey(Tree* tree);
// Removes a key; false when it is not there. Exact only for the first and the second key of a
// leaf: for a later key the leaf loses its first key as well, and the key before the removed one
// is there twice.
bool TreeDeleteKey(Tree* tree, const void* key, uint32_t length);

// Appends the whole tree to the file `fd`, which must allow seeking, and returns the offset at
// which it starts; -1 with errno set when the file does not take it. The tree stays usable.
off_t TreeSave(Tree* tree, int fd);
// The tree that TreeSave put at `offset` of the regular file `fd`, on page files of its own, with
// the functions given here (addresses are not saved). Null when the file holds no sound tree
// there: cut short, or with numbers that point nowhere.
TreeHandle TreeLoad(int fd, off_t offset, const char* treeFileName = nullptr,
                    const char* keyFileName = nullptr, TreeAllocate allocate = nullptr,
                    TreeRelease release = nullptr, TreeCompare compare = nullptr);

}  // namespace tabulon
