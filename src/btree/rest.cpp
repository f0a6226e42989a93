// Completes the module btree: the way back, deleting, saving and loading.
#include "btree/rest.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <optional>
#include <vector>

#include "base/fileio.h"
#include "btree/nodes.h"

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
  // Only the one entry before the removed one moves up, not all of them. So a key after the leaf's
  // second one is replaced by a double of its neighbour, and the leaf's first key is lost. Kept so.
  if (index > 0) entries[index] = entries[index - 1];
  std::memset(static_cast<void*>(entries), kUnusedEntryByte, sizeof(Entry));
  --leaf.header.count;
  return true;
}

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

// Checks a node that has not been met before and should be at `place`, but not its entries.
bool NodeFits(Tree& tree, NodeSet& seen, uint32_t number, const Place& place) {
  if (number == 0 || number >= seen.size() || seen[number]) return false;
  seen[number] = true;
  const TreeNode& node = TreeNodeAt(tree, number);
  return node.level == place.level && node.previous == place.previous &&
         node.parent == place.parent && node.capacity == tree.fanOut &&
         node.header.count <= node.capacity && (node.level == 0 || node.header.count > 0);
}

// Checks the level below the one that begins with node `first`: the children, taken in order, must
// be the chain of that level. Returns its first node, 0 when something does not fit.
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

// A chain that comes back to itself is accepted, since deleting a doubled key makes one; the check
// ends after as many steps as there are slots.
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

namespace {

// A saved tree, in the byte order of the machine: the handle below, the numbers of the resident
// tree nodes (8 bytes each, ascending, zero up to the capacity), those of the resident key nodes,
// then the pages of the tree page file and, unless it is shared, of the key page file, each from
// page 0 on. The fields of the handle that are addresses and descriptors in memory are 0.
struct SavedTable {
  uint64_t residentAddress;
  uint32_t capacity;
  uint32_t count;
  uint32_t nodeSize;
  uint32_t reserved;
  uint64_t counterAddress;
  uint64_t descriptorAddress;
  uint64_t mostRecentAddress;
  uint64_t leastRecentAddress;
};
static_assert(sizeof(SavedTable) == 56);

struct SavedTree {
  uint32_t flags;
  uint32_t root;
  uint32_t cursorNode;
  uint32_t cursorEntry;
  uint32_t fanOut;
  uint32_t keysPerKeyNode;
  uint64_t allocateAddress;
  uint64_t releaseAddress;
  uint64_t compareAddress;
  uint32_t maxKeyBytes;
  uint32_t extraBytes;
  uint32_t recordSize;
  uint32_t reserved;
  SavedTable treeNodes;
  SavedTable keyNodes;
  uint32_t freeKeyNode;
  uint32_t freeKeySlot;
  uint64_t treeFileNameAddress;
  uint64_t keyFileNameAddress;
  uint32_t treeCounter;  // the next number; of both kinds of node when the file is shared
  uint32_t keyCounter;
  uint32_t descriptors[2];
  uint64_t unused[3];
};
static_assert(sizeof(SavedTree) == 240);

constexpr uint32_t kMostResident = 0x80000000;  // what TreeSettings can express

bool IsShared(const Tree& tree) {
  return (tree.flags & kTreeShared) != 0;
}

SavedTable SavedForm(const NodeTable& table) {
  SavedTable saved{};
  saved.capacity = table.capacity;
  saved.count = static_cast<uint32_t>(table.images.size());
  saved.nodeSize = static_cast<uint32_t>(table.nodeSize);
  return saved;
}

SavedTree SavedForm(const Tree& tree) {
  SavedTree saved{};
  saved.flags = tree.flags;
  saved.root = tree.root;
  saved.cursorNode = tree.cursor.node;
  saved.cursorEntry = tree.cursor.entry;
  saved.fanOut = tree.fanOut;
  saved.keysPerKeyNode = tree.keysPerKeyNode;
  saved.maxKeyBytes = tree.maxKeyBytes;
  saved.extraBytes = tree.extraBytes;
  saved.recordSize = static_cast<uint32_t>(tree.recordSize);
  saved.treeNodes = SavedForm(tree.treeNodes);
  saved.keyNodes = SavedForm(tree.keyNodes);
  saved.freeKeyNode = tree.freeSlot.node;
  saved.freeKeySlot = tree.freeSlot.slot;
  saved.treeCounter = tree.treePages.nextNumber();
  saved.keyCounter = tree.keyNodes.pages->nextNumber();
  return saved;
}

bool WriteTable(int fd, const NodeTable& table) {
  std::vector<uint64_t> numbers(table.capacity);
  const std::vector<uint32_t> resident = ResidentNumbers(table);
  std::copy(resident.begin(), resident.end(), numbers.begin());
  return WriteFully(fd, numbers.data(), numbers.size() * sizeof(uint64_t));
}

bool WritePages(int fd, PageFile& pages) {
  pages.Extend();
  std::vector<unsigned char> page(pages.pageSize());
  for (uint32_t number = 0; number < pages.nextNumber(); ++number) {
    pages.Read(number, page.data(), page.size());
    if (!WriteFully(fd, page.data(), page.size())) return false;
  }
  return true;
}

// Reads a saved tree piece by piece. A piece that is longer than the rest of the file is refused
// before memory is taken for it.
class SavedReader {
 public:
  SavedReader(int fd, off_t offset) : fd_(fd), at_(offset) {
    struct stat file {};
    if (offset >= 0 && fstat(fd, &file) == 0 && S_ISREG(file.st_mode) && offset < file.st_size) {
      left_ = static_cast<uint64_t>(file.st_size - offset);
    }
  }

  bool Has(uint64_t bytes) const { return bytes <= left_; }
  bool Skip(uint64_t bytes) {
    if (!Has(bytes)) return false;
    left_ -= bytes;
    at_ += static_cast<off_t>(bytes);
    return true;
  }
  bool Read(void* data, size_t size) {
    const off_t from = at_;
    return Skip(size) && ReadFullyAt(fd_, data, size, from) == static_cast<ssize_t>(size);
  }

 private:
  int fd_;
  off_t at_;
  uint64_t left_ = 0;
};

bool TableFits(const SavedTable& saved, uint64_t nodeSize, uint32_t counter) {
  return saved.nodeSize == nodeSize && saved.capacity > 0 && saved.capacity <= kMostResident &&
         saved.count <= saved.capacity && saved.count < counter;
}

// Whether the handle describes a tree that can be planted and whose pages the file can hold.
bool HandleFits(const SavedTree& saved, const SavedReader& reader) {
  if (saved.fanOut < 2 || saved.keysPerKeyNode < 1) return false;
  const bool shared = (saved.flags & kTreeShared) != 0;
  if (shared && saved.treeCounter != saved.keyCounter) return false;
  const uint64_t recordSize = uint64_t{saved.maxKeyBytes} + saved.extraBytes + kKeyOffset;
  if (saved.recordSize != recordSize) return false;
  const uint64_t treeSize = uint64_t{saved.fanOut} * sizeof(Entry) + sizeof(TreeNode);
  const uint64_t keySize = saved.keysPerKeyNode * recordSize + sizeof(NodeHeader);
  return TableFits(saved.treeNodes, treeSize, saved.treeCounter) &&
         TableFits(saved.keyNodes, keySize, saved.keyCounter) &&
         reader.Has(saved.treeCounter * treeSize) && reader.Has(saved.keyCounter * keySize);
}

TreeSettings SettingsOf(const SavedTree& saved) {
  TreeSettings settings;
  settings.flags = saved.flags;
  settings.fanOut = saved.fanOut;
  settings.keysPerKeyNode = saved.keysPerKeyNode;
  settings.maxKeyBytes = saved.maxKeyBytes;
  settings.extraBytes = saved.extraBytes;
  settings.treeMemory = static_cast<int32_t>(-int64_t{saved.treeNodes.capacity});
  settings.keyMemory = static_cast<int32_t>(-int64_t{saved.keyNodes.capacity});
  return settings;
}

// The numbers of the nodes that were resident; none when they are not in order.
std::optional<std::vector<uint32_t>> ReadTable(SavedReader& reader, const SavedTable& saved,
                                               uint32_t counter) {
  std::vector<uint32_t> numbers;
  for (uint32_t i = 0; i < saved.count; ++i) {
    uint64_t number;
    if (!reader.Read(&number, sizeof number) || number >= counter) return std::nullopt;
    if (number <= (numbers.empty() ? 0 : numbers.back())) return std::nullopt;
    numbers.push_back(static_cast<uint32_t>(number));
  }
  if (!reader.Skip(uint64_t{saved.capacity - saved.count} * sizeof(uint64_t))) return std::nullopt;
  return numbers;
}

bool ReadPages(SavedReader& reader, PageFile& pages, uint32_t counter) {
  std::vector<unsigned char> page(pages.pageSize());
  for (uint32_t number = 0; number < counter; ++number) {
    if (!reader.Read(page.data(), page.size())) return false;
    uint32_t stored;
    std::memcpy(&stored, page.data(), sizeof stored);
    if (stored != number) return false;
    pages.Write(number, page.data(), page.size());
  }
  pages.SetNextNumber(counter);
  return true;
}

bool Refill(Tree& tree, SavedReader& reader, const SavedTree& saved) {
  const auto treeNumbers = ReadTable(reader, saved.treeNodes, saved.treeCounter);
  if (!treeNumbers) return false;
  const auto keyNumbers = ReadTable(reader, saved.keyNodes, saved.keyCounter);
  if (!keyNumbers) return false;
  if (!ReadPages(reader, tree.treePages, saved.treeCounter)) return false;
  if (!IsShared(tree) && !ReadPages(reader, tree.keyPages, saved.keyCounter)) return false;
  tree.root = saved.root;
  tree.cursor = {saved.cursorNode, saved.cursorEntry};
  tree.freeSlot = {saved.freeKeyNode, saved.freeKeySlot};
  // The check moves nodes through the tables at will; then these are filled as they were.
  tree.treeNodes.byNumber.resize(saved.treeCounter);
  tree.keyNodes.byNumber.resize(saved.keyCounter);
  return TreeIsSound(tree) && FixNodeTable(tree.treeNodes, *treeNumbers) &&
         FixNodeTable(tree.keyNodes, *keyNumbers);
}

}  // namespace

off_t TreeSave(Tree* tree, int fd) {
  const off_t start = lseek(fd, 0, SEEK_END);
  if (start < 0) return -1;
  FlushForSave(tree->treeNodes);
  FlushForSave(tree->keyNodes);
  const SavedTree saved = SavedForm(*tree);
  const bool whole = WriteFully(fd, &saved, sizeof saved) && WriteTable(fd, tree->treeNodes) &&
                     WriteTable(fd, tree->keyNodes) && WritePages(fd, tree->treePages) &&
                     (IsShared(*tree) || WritePages(fd, tree->keyPages));
  return whole ? start : -1;
}

TreeHandle TreeLoad(int fd, off_t offset, const char* treeFileName, const char* keyFileName,
                    TreeAllocate allocate, TreeRelease release, TreeCompare compare) {
  SavedReader reader(fd, offset);
  SavedTree saved;
  if (!reader.Read(&saved, sizeof saved) || !HandleFits(saved, reader)) return {};
  TreeSettings settings = SettingsOf(saved);
  settings.treeFileName = treeFileName;
  settings.keyFileName = keyFileName;
  settings.allocate = allocate;
  settings.release = release;
  settings.compare = compare;
  TreeHandle tree = TreePlant(settings);
  if (!Refill(*tree, reader, saved)) return {};
  return tree;
}

}  // namespace tabulon
