#include "btree/rest.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <map>
#include <random>

#include "btree/nodes.h"
#include "tests/btree/treecheck.h"
#include "tests/ending.h"

namespace tabulon {
namespace {

using Strings = std::vector<std::string>;

int Backwards(const void* a, uint32_t lengthA, const void* b, uint32_t lengthB) {
  return _keyCmp(b, lengthB, a, lengthA);
}

struct Before {
  bool backwards;
  bool operator()(const std::string& a, const std::string& b) const {
    return backwards ? b < a : a < b;
  }
};
using Model = std::map<std::string, uint32_t, Before>;

// One node of each kind, keys and nodes in one file, small and large nodes, much and little room.
const TreeSettings kLimits[] = {
    Settings(2, 1, 1, 1, 4),
    Settings(2, 1, 1, 1, 4, kTreeShared),
    Settings(2, 2, 7, 2, 4, kTreeShared),
    Settings(9, 1, 1, 3, 0, kTreeShared),
    Settings(3, 2, 3, 2, 4),
    Settings(4, 1, 5, 1, 0),
    Settings(3, 100, 4, 100, 4),
    Settings(3, 1, 2, 1, 4, 0, Backwards),
};

void ExpectRecord(KeyRecord record, const Model::value_type& expected, uint32_t extraBytes) {
  ASSERT_TRUE(record) << expected.first;
  EXPECT_EQ(KeyText(record), expected.first);
  ASSERT_EQ(record.extra() != nullptr, extraBytes != 0);
  EXPECT_EQ(extraBytes == 0 ? 0 : std::memcmp(record.extra(), &expected.second, extraBytes), 0);
}

// Walks the tree both ways, and looks for every key and for what is not there.
void ExpectModel(const TreeHandle& tree, const Model& model, uint32_t extraBytes) {
  KeyRecord record = TreeLowKey(tree.get());
  for (const auto& row : model) {
    ExpectRecord(record, row, extraBytes);
    record = TreeNextKey(tree.get());
  }
  EXPECT_FALSE(record);
  EXPECT_FALSE(TreeNextKey(tree.get())) << "the cursor is gone after the last key";
  std::vector<std::string> back;
  for (record = TreeHighKey(tree.get()); record; record = TreePrevKey(tree.get())) {
    back.insert(back.begin(), KeyText(record));
  }
  EXPECT_EQ(back, Keys(tree));
  for (auto row = model.begin(); row != model.end(); ++row) {
    EXPECT_FALSE(Find(tree, row->first + "x"));
    ExpectRecord(Find(tree, row->first), *row, extraBytes);
    const auto next = std::next(row);
    if (next != model.end()) ExpectRecord(TreeNextKey(tree.get()), *next, extraBytes);
  }
}

// The empty key, the least and the greatest bytes and numbers that share prefixes, in four orders
// of arrival.
std::vector<Strings> Arrivals(const Before& before) {
  Strings keys{"", {'\0'}, "1\xFF", "\xFF"};
  for (int i = 0; keys.size() < 50; ++i) keys.push_back(std::to_string(i * i));
  std::sort(keys.begin(), keys.end(), before);
  std::vector<Strings> orders{keys, {keys.rbegin(), keys.rend()}, keys, keys};
  std::shuffle(orders[2].begin(), orders[2].end(), std::mt19937(7));
  // Every second key ascending, then those between: appends first, splits of full nodes then.
  std::stable_partition(orders[3].begin(), orders[3].end(),
                        [i = 0](const std::string&) mutable { return i++ % 2 != 0; });
  return orders;
}

class TreeModelTest : public testing::TestWithParam<TreeSettings> {};

TEST_P(TreeModelTest, HoldsWhatAMapHolds) {
  const TreeSettings& settings = GetParam();
  const Before before{settings.compare != nullptr};
  for (const Strings& order : Arrivals(before)) {
    SCOPED_TRACE("first key " + order.front());
    const TreeHandle tree = TreePlant(settings);
    Model model(before);
    ExpectModel(tree, model, settings.extraBytes);
    for (uint32_t i = 0; i < order.size(); ++i) {
      model.emplace(order[i], i);
      ASSERT_TRUE(Add(tree, order[i], &i));
      const uint32_t other = ~i;
      ASSERT_FALSE(Add(tree, order[i / 2], &other)) << "an equal key is refused";
      ASSERT_TRUE(TreeIsSound(*tree));
      ASSERT_LE(tree->treeNodes.images.size(), tree->treeNodes.capacity);
      ASSERT_LE(tree->keyNodes.images.size(), tree->keyNodes.capacity);
      if (i % 5 != 4) continue;
      ASSERT_NO_FATAL_FAILURE(ExpectModel(tree, model, settings.extraBytes));
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Limits, TreeModelTest, testing::ValuesIn(kLimits));

TEST(TreeKeys, ExtraBytesCanBeChangedAndSurviveEviction) {
  const TreeHandle tree = TreePlant(Settings(2, 1, 1, 1, 3));
  for (const char* key : {"a", "b", "c"}) Add(tree, key);
  EXPECT_EQ(std::memcmp(Find(tree, "b").extra(), "\0\0\0", 3), 0);
  std::memcpy(Find(tree, "b").extra(), "xyz", 3);
  Find(tree, "a");
  EXPECT_EQ(std::memcmp(Find(tree, "b").extra(), "xyz", 3), 0);
  EXPECT_ENDS(Add(tree, std::string(12, 'a')), 1, "Tree key too long\n");
}

// A later key leaves a double of its neighbour, and takes the first key of the leaf with it.
TEST(TreeDelete, IsExactForTheFirstTwoKeysOfALeafOnly) {
  const TreeHandle tree = TreePlant(Settings(8, 1, 3, 1));
  for (const char* key : {"a", "b", "c", "d", "e", "f", "g"}) Add(tree, key);
  for (const char* key : {"b", "e"}) EXPECT_TRUE(TreeDeleteKey(tree.get(), key, 1)) << key;
  EXPECT_EQ(Keys(tree), (Strings{"c", "d", "d", "f", "g"}));
}

}  // namespace
}  // namespace tabulon
