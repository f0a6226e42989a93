#include "base/asidefile.h"

#include <gmock/gmock.h>
#include <sys/stat.h>

#include <csignal>

#include "tests/support.h"

namespace tabulon {
namespace {

using testing::ElementsAre;

class AsideFiles : public testing::Test {
 protected:
  // The mode and inode of a file.
  static std::pair<mode_t, ino_t> Identity(const std::string& path) {
    struct stat found {};
    EXPECT_EQ(lstat(path.c_str(), &found), 0);
    return {found.st_mode & 07777, found.st_ino};
  }
  // What the file has before, while and after "new" is written to it.
  std::vector<std::string> Written(const std::string& name) {
    std::vector<std::string> seen;
    AsideFile file;
    TextStream stream;
    EXPECT_TRUE(file.Prepare(dir_ / name));
    seen.push_back(ReadFile(dir_ / name));
    EXPECT_TRUE(file.Open(stream, TextEncoding::kLocale));
    EXPECT_EQ(stream.name(), dir_ / name);
    stream.Write(L"new");
    stream.Flush();
    seen.push_back(ReadFile(dir_ / name));
    EXPECT_EQ(file.Close(stream), 0);
    seen.push_back(ReadFile(dir_ / name));
    return seen;
  }

  TempDir dir_;
};

TEST_F(AsideFiles, AreReplacedWhenWhole) {
  WriteFile(dir_ / "old", "old");
  chmod((dir_ / "old").c_str(), 0604);
  const auto before = Identity(dir_ / "old");
  EXPECT_THAT(Written("old"), ElementsAre("old", "old", "new"));
  EXPECT_EQ(Identity(dir_ / "old").first, before.first);
  EXPECT_NE(Identity(dir_ / "old").second, before.second);

  const mode_t mask = umask(0277);
  EXPECT_THAT(Written("made"), ElementsAre("", "", "new"));
  umask(mask);
  EXPECT_EQ(Identity(dir_ / "made").first, 0400u);
  EXPECT_THAT(dir_.Entries(), ElementsAre("made", "old"));
}

// Their other names go on standing for them.
TEST_F(AsideFiles, WithOtherNamesAreWrittenDirectly) {
  WriteFile(dir_ / "target", "old");
  std::filesystem::create_symlink("target", dir_ / "soft");
  std::filesystem::create_symlink("missing", dir_ / "dangling");
  EXPECT_THAT(Written("soft"), ElementsAre("", "new", "new"));
  EXPECT_THAT(Written("dangling"), ElementsAre("", "new", "new"));
  EXPECT_TRUE(std::filesystem::is_symlink(dir_ / "soft"));
  EXPECT_EQ(ReadFile(dir_ / "missing"), "new");
  std::filesystem::create_hard_link(dir_ / "target", dir_ / "hard");
  EXPECT_THAT(Written("hard"), ElementsAre("", "new", "new"));
  EXPECT_EQ(ReadFile(dir_ / "target"), "new");
  // Nothing can be made beside it: a name with six more characters would be too long.
  EXPECT_THAT(Written(std::string(250, 'n')), ElementsAre("", "new", "new"));
}

// The bytes of a file that replaces another one go to the disk while it is written.
TEST_F(AsideFiles, TellWhatCanBePlacedEarly) {
  constexpr size_t kBytes = size_t{17} << 20;
  WriteFile(dir_ / "old", "old");
  WriteFile(dir_ / "linked", "old");
  std::filesystem::create_hard_link(dir_ / "linked", dir_ / "link");
  for (const char* name : {"old", "linked", "new"}) {
    AsideFile file;
    TextStream stream;
    ASSERT_TRUE(file.Prepare(dir_ / name) && file.Open(stream, TextEncoding::kLocale));
    for (const size_t before : {size_t{0}, kBytes}) {
      stream.WriteBytes("few");
      stream.Flush();
      EXPECT_EQ(stream.TakeUnplaced().size, 0u) << name;
      stream.WriteBytes(std::string(kBytes - 3, 'x'));
      const UnplacedBytes unplaced = stream.TakeUnplaced();
      EXPECT_EQ(unplaced.size, name == std::string("new") ? 0 : kBytes) << name;
      EXPECT_EQ(unplaced.size > 0 ? unplaced.start : before, before) << name;
      unplaced.Place();
    }
    EXPECT_EQ(file.Close(stream), 0);
  }
}

using AsideFilesDeathTest = AsideFiles;

// What the run made goes, but for what is whole.
TEST_F(AsideFilesDeathTest, GoWithASignal) {
  WriteFile(dir_ / "old", "old");
  const auto run = [&](auto end) {
    AsideFile old, whole, begun;
    TextStream stream;
    EXPECT_TRUE(old.Prepare(dir_ / "old") && whole.Prepare(dir_ / "whole"));
    EXPECT_TRUE(begun.Prepare(dir_ / "begun"));
    EXPECT_TRUE(whole.Open(stream, TextEncoding::kLocale));
    stream.Write(L"new");
    EXPECT_EQ(whole.Close(stream), 0);
    EXPECT_TRUE(begun.Open(stream, TextEncoding::kLocale));
    end();
  };
  const auto signal = [] {
    RemoveTempFilesOnSignals();
    raise(SIGTERM);
  };
  EXPECT_EXIT(run(signal), testing::KilledBySignal(SIGTERM), "");
  EXPECT_THAT(dir_.Entries(), ElementsAre("old", "whole"));
  EXPECT_EQ(ReadFile(dir_ / "old") + ReadFile(dir_ / "whole"), "oldnew");
  const auto memory = [] {
    RemoveTempFilesNow();
    _exit(1);
  };
  EXPECT_EXIT(run(memory), testing::ExitedWithCode(1), "");
  EXPECT_THAT(dir_.Entries(), ElementsAre("begun", "old", "whole"));
}

}  // namespace
}  // namespace tabulon
