#include <fcntl.h>
#include <gmock/gmock.h>

#include "base/fileio.h"
#include "base/tempfile.h"
#include "tests/btree/treecheck.h"
#include "tests/ending.h"
#include "tests/support.h"

namespace tabulon {
namespace {

using testing::ContainsRegex;

// Fills a tree so that both kinds of node leave memory.
void Overfill(const TreeHandle& tree) {
  for (int i = 0; i < 40; ++i) Add(tree, std::to_string(i * 7 % 40));
}

class PageFileTest : public testing::Test {
 protected:
  TreeHandle Plant(uint32_t flags = 0) {
    settings_.flags = flags;
    settings_.treeFileName = treeName_.c_str();
    settings_.keyFileName = keyName_.c_str();
    return TreePlant(settings_);
  }

  TempDir dir_;
  std::string treeName_ = dir_ / "tree";
  std::string keyName_ = dir_ / "keys";
  TreeSettings settings_ = Settings(2, 1, 2, 1);
};

TEST_F(PageFileTest, ExistsFromPlantingToFreeing) {
  const TempPlace place(dir_.path());
  for (const bool named : {false, true}) {
    for (const uint32_t flags : {0U, kTreeShared}) {
      TreeHandle tree = named ? Plant(flags) : TreePlant(Settings(2, 1, 2, 1));
      Overfill(tree);
      EXPECT_EQ(dir_.Entries().size(), named && flags != 0 ? 1U : 2U);
      tree.reset();
      EXPECT_EQ(dir_.Entries().size(), 0U);
    }
  }
}

TEST_F(PageFileTest, ManyTreesShareFewDescriptors) {
  const auto openFiles = [] {
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
  };
  const auto before = openFiles();
  std::vector<TreeHandle> trees;
  for (int i = 0; i < 100; ++i) trees.push_back(TreePlant(Settings(2, 1, 2, 1)));
  EXPECT_EQ(openFiles(), before);
  for (int i = 0; i < 10; ++i) {
    for (const TreeHandle& tree : trees) EXPECT_TRUE(Add(tree, std::to_string(i)));
  }
  EXPECT_LE(openFiles(), before + 64);
  for (const TreeHandle& tree : trees) EXPECT_EQ(Keys(tree).size(), 10U);
  trees.clear();
  EXPECT_EQ(openFiles(), before);
}

TEST_F(PageFileTest, WhatCannotBeMovedEndsTheRun) {
  settings_.keyMemory = -100;
  const auto fillDisk = [&] {
    const FileSizeLimit full(200);
    Overfill(Plant());
  };
  EXPECT_ENDS(fillDisk(), 1,
              ContainsRegex("^Error writing tree page file '.*/tree'\n  \\(p27\\) File too large"));
  EXPECT_EQ(dir_.Entries().size(), 0U);

  settings_.keyMemory = -1;
  for (const bool cut : {true, false}) {
    const TreeHandle damaged = Plant();
    Overfill(damaged);
    const std::string bytes = ReadFile(keyName_);
    // Cut within the last node, or overwritten.
    WriteFile(keyName_, cut ? bytes.substr(0, bytes.size() - 1) : std::string(bytes.size(), '\1'));
    EXPECT_ENDS(Keys(damaged), 1,
                ContainsRegex("^Error reading tree page file '.*/keys'\n  \\(p5\\) "));
  }

  keyName_ = dir_ / "none/keys";
  settings_.keyMemory = -2;
  const TreeHandle tree = Plant();
  for (const char* key : {"a", "b", "c", "d"}) EXPECT_TRUE(Add(tree, key));
  EXPECT_ENDS(
      Add(tree, "e"), 1,
      ContainsRegex("^Error creating tree page file '.*/none/keys'\n  \\(p2\\) No such file"));
}

TEST(SavedTree, ComesBackAsItWas) {
  const TempDir dir;
  const UniqueFd fd(open((dir / "saved").c_str(), O_RDWR | O_CREAT, 0600));
  const TreeHandle tree = TreePlant(Settings(3, 2, 2, 2));
  Overfill(tree);
  ASSERT_EQ(TreeSave(tree.get(), fd.get()), 0);
  const TreeHandle loaded = TreeLoad(fd.get(), 0);
  ASSERT_TRUE(loaded);
  EXPECT_EQ(Keys(loaded), Keys(tree));
  std::filesystem::resize_file(dir / "saved", ReadFile(dir / "saved").size() - 1);
  EXPECT_FALSE(TreeLoad(fd.get(), 0));
}

}  // namespace
}  // namespace tabulon
