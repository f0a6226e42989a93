#include "btree/nodes.h"

#include <algorithm>
#include <cstring>
#include <functional>

#include "base/loganderr.h"

namespace tabulon {

namespace {

void _fetchNode(NodeTable& table, uint32_t number, NodeHeader* image) {
  table.pages->Read(number, image, table.nodeSize);
  if (image->number != number) table.pages->FailDamaged();
}

void _flushNode(NodeTable& table, const NodeHeader* image) {
  table.pages->Write(image->number, image, table.nodeSize);
}

NodeHeader* NewImage(NodeTable& table) {
  std::unique_ptr<NodeHeader, TreeRelease> image(
      static_cast<NodeHeader*>(table.allocate(table.nodeSize)), table.release);
  if (!image) MemoryErrExit(L"tree alloc");
  return table.images.emplace_back(std::move(image)).get();
}

// The resident nodes with their last use, the most recent one first.
std::vector<std::pair<uint64_t, uint32_t>> ByAge(const NodeTable& table) {
  std::vector<std::pair<uint64_t, uint32_t>> order;
  order.reserve(table.images.size());
  for (const auto& image : table.images) {
    order.emplace_back(table.byNumber[image->number].lastUse, image->number);
  }
  std::sort(order.begin(), order.end(), std::greater<>());
  return order;
}

// Takes the oldest node from the snapshot `byAge`, and takes a new snapshot when it is used up. One
// sort serves many evictions, so an access needs no more than a store of the clock.
uint32_t LeastRecentlyUsed(NodeTable& table) {
  for (;; table.byAge = ByAge(table)) {
    while (!table.byAge.empty()) {
      const auto [lastUse, number] = table.byAge.back();
      table.byAge.pop_back();
      if (table.byNumber[number].lastUse == lastUse) return number;
    }
  }
}

// Writes the least recently used node to its page and hands out its memory. The node is written
// even if it has not changed, since accesses do not tell whether they change it.
NodeHeader* Evict(NodeTable& table) {
  ResidentNode& victim = table.byNumber[LeastRecentlyUsed(table)];
  _flushNode(table, victim.image);
  victim.lastUse = 0;
  return std::exchange(victim.image, nullptr);
}

// Memory for one more resident node.
NodeHeader* RoomForNode(NodeTable& table) {
  return table.images.size() < table.capacity ? NewImage(table) : Evict(table);
}

}  // namespace

void _pageIn(NodeTable& table, uint32_t number) {
  NodeHeader* image = RoomForNode(table);
  _fetchNode(table, number, image);
  table.byNumber[number].image = image;
}

NodeHeader* _getNewNode(NodeTable& table) {
  NodeHeader* image = RoomForNode(table);
  std::memset(static_cast<void*>(image), 0, table.nodeSize);
  image->number = table.pages->NewNumber();
  table.byNumber.resize(size_t{image->number} + 1);
  table.byNumber.back() = {image, ++table.clock};
  return image;
}

std::vector<uint32_t> ResidentNumbers(const NodeTable& table) {
  std::vector<uint32_t> numbers;
  for (const auto& image : table.images) numbers.push_back(image->number);
  std::sort(numbers.begin(), numbers.end());
  return numbers;
}

void FlushForSave(NodeTable& table) {
  const auto order = ByAge(table);
  for (size_t i = 0; i < order.size(); ++i) {
    NodeHeader* image = table.byNumber[order[i].second].image;
    image->lruPrevious = i + 1 < order.size() ? order[i + 1].second : 0;
    image->lruNext = i > 0 ? order[i - 1].second : 0;
    _flushNode(table, image);
    image->lruPrevious = image->lruNext = 0;
  }
}

bool FixNodeTable(NodeTable& table, std::span<const uint32_t> numbers) {
  table.images.clear();
  table.byAge.clear();
  table.byNumber.assign(table.pages->nextNumber(), {});
  uint64_t oldest = 0;
  for (const uint32_t number : numbers) {
    NodeHeader* image = NewImage(table);
    _fetchNode(table, number, image);
    table.byNumber[number].image = image;
    if (image->lruPrevious == 0) oldest = number;
  }
  size_t linked = 0;
  for (uint64_t number = oldest; number != 0 && number < table.byNumber.size(); ++linked) {
    ResidentNode& node = table.byNumber[number];
    if (node.image == nullptr || node.lastUse != 0) return false;
    node.lastUse = ++table.clock;
    number = node.image->lruNext;
    node.image->lruPrevious = node.image->lruNext = 0;
  }
  return linked == numbers.size();
}

}  // namespace tabulon
