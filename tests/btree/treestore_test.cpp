#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>

#include "base/uniquefd.h"
#include "tests/btree/treecheck.h"
#include "tests/support.h"

namespace tabulon {
namespace {

using testing::ExitedWithCode;

// Fills a tree so that both kinds of node leave memory.
void Overfill(const TreeHandle& tree) {
  for (int i = 0; i < 40; ++i) Add(tree, std::to_string(i * 7 % 40));
}

TEST(TreeMemory, IsBytesOrNodes) {
  // clang-format off
  const struct { int32_t memory; uint32_t treeNodes, keyNodes; } rows[] = {
      {0, 50'000'000 / 168, 100'000'000 / 72}, {1'000, 5, 13}, {1, 1, 1}, {-257, 257, 257},
  };
  // clang-format on
  for (const auto& row : rows) {
    TreeSettings settings = Settings(10, 0, 2, 0);
    settings.treeMemory = settings.keyMemory = row.memory;
    settings.extraBytes = 1;  // nodes of 10 x 12 + 48 and 2 x (11 + 1 + 12) + 24 bytes
    const TreeHandle tree = TreePlant(settings);
    EXPECT_EQ(tree->treeNodes.capacity, row.treeNodes) << row.memory;
    EXPECT_EQ(tree->keyNodes.capacity, row.keyNodes) << row.memory;
  }
}

// --- Page files ---------------------------------------------------------------------------------

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
using PageFileDeathTest = PageFileTest;

TEST_F(PageFileTest, ExistsFromPlantingToFreeing) {
  tempDir = dir_.path();
  for (const bool named : {false, true}) {
    for (const uint32_t flags : {0U, kTreeShared}) {
      TreeHandle tree = named ? Plant(flags) : TreePlant(Settings(2, 1, 2, 1));
      Overfill(tree);
      EXPECT_EQ(dir_.Entries().size(), named && flags != 0 ? 1U : 2U);
      tree.reset();
      EXPECT_EQ(dir_.Entries().size(), 0U);
    }
  }
  tempDir.reset();
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

TEST_F(PageFileDeathTest, MemoryRefusedByTheTreesAllocatorEndsTheRun) {
  static int left;
  settings_.allocate = [](size_t size) { return left-- > 0 ? std::calloc(1, size) : nullptr; };
  for (const int blocks : {0, 1}) {
    left = blocks;
    EXPECT_EXIT(Overfill(Plant()), ExitedWithCode(1), "^Insufficient memory: called from 'tree al");
  }
}

TEST_F(PageFileDeathTest, WhatCannotBeMovedEndsTheRun) {
  settings_.keyMemory = -100;
  const auto fillDisk = [&] {
    std::signal(SIGXFSZ, SIG_IGN);
    LimitFileSize(200);
    Overfill(Plant());
  };
  EXPECT_EXIT(fillDisk(), ExitedWithCode(1),
              "^Error writing tree page file '.*/tree'\n  \\(p27\\) File too large");
  EXPECT_EQ(dir_.Entries().size(), 0U);

  const char* const misread = "^Error reading tree page file '.*/keys'\n  \\(p5\\) ";
  settings_.keyMemory = -1;
  TreeHandle tree = Plant();
  Overfill(tree);
  const std::string bytes = ReadFile(keyName_);
  truncate(keyName_.c_str(), 100);
  EXPECT_EXIT(Keys(tree), ExitedWithCode(1), misread) << "cut";
  WriteFile(keyName_, std::string(bytes.size(), '\1'));
  EXPECT_EXIT(Keys(tree), ExitedWithCode(1), misread) << "overwritten";

  tree.reset();
  keyName_ = dir_ / "none/keys";
  settings_.keyMemory = -2;
  tree = Plant();
  for (const char* key : {"a", "b", "c", "d"}) EXPECT_TRUE(Add(tree, key));
  EXPECT_EXIT(Add(tree, "e"), ExitedWithCode(1),
              "^Error creating tree page file '.*/none/keys'\n  \\(p2\\) No such file");
}

// --- Saved trees --------------------------------------------------------------------------------

class SavedTreeTest : public testing::Test {
 protected:
  SavedTreeTest() : fd_(open((dir_ / "saved").c_str(), O_RDWR | O_CREAT, 0600)) {}

  // A tree after appends, splits and a deletion, saved behind a few bytes of something else.
  TreeHandle Save(TreeSettings settings) {
    settings.extraBytes = 2;
    TreeHandle tree = TreePlant(settings);
    for (int i = 0; i < 40; ++i) Add(tree, std::to_string(i * 7 % 40), "ex");
    Delete(tree, Keys(tree).front());
    EXPECT_EQ(ftruncate(fd_.get(), 5), 0);
    EXPECT_EQ(TreeSave(tree.get(), fd_.get()), 5);
    return tree;
  }

  TempDir dir_;
  UniqueFd fd_;
};

TreeSettings Shared(TreeSettings settings) {
  settings.flags = kTreeShared;
  return settings;
}

const TreeSettings kSavedSettings[] = {Settings(4, 3, 3, 2), Settings(2, 1, 1, 1),
                                       Settings(5, 90, 4, 90), Shared(Settings(3, 2, 2, 2)),
                                       Shared(Settings(8, 90, 1, 2))};

TEST_F(SavedTreeTest, ComesBackAsItWas) {
  for (const TreeSettings& settings : kSavedSettings) {
    const TreeHandle tree = Save(settings);
    const TreeHandle loaded = TreeLoad(fd_.get(), 5);
    ASSERT_TRUE(loaded);
    for (const char* key : {"0", "12", "39", "25", "8", "31"}) {  // the order of use, too
      EXPECT_EQ(ResidentNumbers(loaded->keyNodes), ResidentNumbers(tree->keyNodes)) << key;
      EXPECT_EQ(bool(Find(loaded, key)), bool(Find(tree, key)));
    }
    EXPECT_EQ(Keys(loaded), Keys(tree));
    EXPECT_EQ(std::memcmp(Find(loaded, "33").extra(), "ex", 2), 0);
    for (int i = 0; i < 60; ++i) {
      EXPECT_EQ(Add(loaded, std::to_string(i)), Add(tree, std::to_string(i))) << i;
    }
    EXPECT_EQ(Keys(loaded), Keys(tree));
    ASSERT_NO_FATAL_FAILURE(CheckTree(*loaded, 60));
  }
}

TEST_F(SavedTreeTest, OfNoKeysIsEmptyAndOfNoFileIsNone) {
  const TreeHandle tree = TreePlant(Settings(4, 2, 2, 2));
  const TreeHandle loaded = TreeLoad(fd_.get(), TreeSave(tree.get(), fd_.get()));
  ASSERT_TRUE(loaded);
  EXPECT_TRUE(Keys(loaded).empty() && Add(loaded, "a"));
  const UniqueFd full(open("/dev/full", O_WRONLY));
  EXPECT_EQ(TreeSave(tree.get(), full.get()), -1);
  EXPECT_EQ(errno, ENOSPC);
  EXPECT_EQ(TreeSave(tree.get(), -1), -1);
  EXPECT_EQ(errno, EBADF);
}

// Cut and damaged saves give no tree, or one that can be used without harm. A sample of the bytes
// is damaged, every one with TABULON_FULL set.
TEST_F(SavedTreeTest, DamageIsHarmless) {
  const bool everyByte = std::getenv("TABULON_FULL") != nullptr;
  for (const TreeSettings& settings : {Settings(3, 20, 4, 9), Shared(Settings(4, 20, 3, 9))}) {
    Save(settings);
    const std::string whole = ReadFile(dir_ / "saved");
    for (size_t at = 5; at < whole.size(); at += everyByte ? 1 : at < 300 ? 2 : 23) {
      const auto damaged = static_cast<char>(whole[at] ^ (at % 2 != 0 ? 1 << (at % 7) : 0xFF));
      pwrite(fd_.get(), &damaged, 1, static_cast<off_t>(at));
      const TreeHandle tree = TreeLoad(fd_.get(), 5);
      pwrite(fd_.get(), &whole[at], 1, static_cast<off_t>(at));
      if (!tree) continue;
      EXPECT_LE(Keys(tree).size(), 100U) << at;
      for (const char* key : {"", "17", "5x"}) {
        Find(tree, key);
        Add(tree, key);
        Delete(tree, key);
      }
      EXPECT_TRUE(TreeIsSound(*tree)) << at;
    }
    for (size_t size = whole.size() - 1; size >= 29; size -= 29) {
      EXPECT_EQ(ftruncate(fd_.get(), static_cast<off_t>(size)), 0);
      EXPECT_FALSE(TreeLoad(fd_.get(), 5)) << size;
    }
  }
}

}  // namespace
}  // namespace tabulon
