// The tree: keys that come in ascending or in random order, all nodes in memory or most on disk.
#include <algorithm>
#include <numeric>
#include <random>

#include "bench/sample.h"
#include "btree/btree.h"

namespace tabulon {
namespace {

constexpr uint32_t kKeys = 100'000;

enum class Order { kAscending, kRandom };

// Numbers whose bytes stand in the order of their values.
std::vector<uint32_t> Keys(Order order) {
  std::vector<uint32_t> keys(kKeys);
  std::iota(keys.begin(), keys.end(), 0U);
  if (order == Order::kRandom) std::shuffle(keys.begin(), keys.end(), std::mt19937(1));
  for (uint32_t& key : keys) key = __builtin_bswap32(key);
  return keys;
}

// `nodes`: how many of each kind stay in memory; 0 for all of them.
TreeHandle Fill(const std::vector<uint32_t>& keys, int32_t nodes) {
  TreeHandle tree = TreePlant({.fanOut = 512,
                               .treeMemory = -nodes,
                               .keysPerKeyNode = 512,
                               .maxKeyBytes = sizeof(uint32_t),
                               .extraBytes = sizeof(uint64_t),
                               .keyMemory = -nodes});
  for (const uint32_t key : keys) TreeAddKey(tree.get(), &key, sizeof key, nullptr);
  return tree;
}

void TreeInsert(benchmark::State& state, Order order, int32_t nodes) {
  const std::vector<uint32_t> keys = Keys(order);
  for (auto _ : state) benchmark::DoNotOptimize(Fill(keys, nodes).get());
  ShowTimePerItem(state, kKeys);
}
BENCHMARK_CAPTURE(TreeInsert, ascending, Order::kAscending, 0);
BENCHMARK_CAPTURE(TreeInsert, random, Order::kRandom, 0);
BENCHMARK_CAPTURE(TreeInsert, ascending_to_disk, Order::kAscending, 20);

void TreeFind(benchmark::State& state, Order order) {
  const TreeHandle tree = Fill(Keys(Order::kRandom), 0);
  const std::vector<uint32_t> keys = Keys(order);
  for (auto _ : state) {
    for (const uint32_t key : keys) {
      benchmark::DoNotOptimize(TreeSearch(tree.get(), &key, sizeof key).extra());
    }
  }
  ShowTimePerItem(state, kKeys);
}
BENCHMARK_CAPTURE(TreeFind, ascending, Order::kAscending);
BENCHMARK_CAPTURE(TreeFind, random, Order::kRandom);

void TreeWalk(benchmark::State& state) {
  const TreeHandle tree = Fill(Keys(Order::kRandom), 0);
  for (auto _ : state) {
    for (KeyRecord record = TreeLowKey(tree.get()); record; record = TreeNextKey(tree.get())) {
      benchmark::DoNotOptimize(record.extra());
    }
  }
  ShowTimePerItem(state, kKeys);
}
BENCHMARK(TreeWalk);

}  // namespace
}  // namespace tabulon
