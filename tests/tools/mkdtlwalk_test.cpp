#include "tools/mkdtl/walk.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/stat.h>

#include <atomic>
#include <cerrno>
#include <functional>
#include <thread>

#include "base/bytes.h"
#include "companion.h"

namespace tabulon {
namespace {

namespace fs = std::filesystem;
using Names = std::vector<std::string>;

// Notes what it is told, changes the tree when it is told `when`, and ends the walk at `stopAt`.
struct MeddlingVisitor : TreeVisitor {
  bool Directory(const std::string& path, const struct stat&) override {
    told.push_back(path);
    if (path == when) meddle();
    return path != stopAt;
  }
  bool Files(const FileRecords& files) override {
    for (std::string_view rest = files.bytes; !rest.empty();) {
      const size_t name = LoadU16(rest.data() + kNfsRecord.nameLength);
      const size_t target = LoadU16(rest.data() + kNfsRecord.targetLength);
      told.emplace_back(rest.substr(kNfsRecord.fixedSize, name - 1));
      rest.remove_prefix(kNfsRecord.fixedSize + name + target);
    }
    return true;
  }
  void MountPoint(const std::string& path) override { told.push_back(path + ": mounted"); }
  void Unreadable(const std::string& path, int error) override {
    told.push_back(path + ": " + std::to_string(error));
  }

  std::string when, stopAt;
  std::function<void()> meddle;
  Names told;
};

Names Walk(const fs::path& root, WalkOptions options, MeddlingVisitor visitor = {}) {
  TreeWalk walk(UniqueFd(open(root.c_str(), O_RDONLY | O_DIRECTORY)), std::move(options), visitor);
  walk.Run();
  return visitor.told;
}

// What is told of a tree in which `meddle` changes something.
Names Told(const std::string& when, const std::function<void(const fs::path&)>& meddle,
           const std::string& stopAt = "", const WalkLimits& limits = {},
           const Names& files = {"a/b/deep/x", "a/c/y", "z/w"}) {
  const TempDir dir;
  const fs::path root = dir.path();
  for (const std::string& name : files) PutFile(root / name);
  MeddlingVisitor visitor;
  visitor.when = when;
  visitor.stopAt = stopAt;
  visitor.meddle = [&] { meddle(root); };
  return Walk(root, {.limits = limits}, visitor);
}

TEST(Walk, FollowsTheTreeAsItChanges) {
  const auto move = [](const fs::path& root) { fs::rename(root / "a/b", root / "z/moved"); };
  const auto vanish = [](const fs::path& root) { fs::remove_all(root / "z"); };
  for (const size_t descriptors : {0, 1}) {
    EXPECT_EQ(Told("/a/b/deep", move, "", {.openDirectories = descriptors}),
              (Names{"/", "/a", "/a/b", "/a/b/deep", "x", "/a/c", "y", "/z", "w", "/z/moved",
                     "/z/moved/deep", "x"}))
        << "the way back from /a/b leads to /z now";
  }
  const Names withoutZ = {"/", "/a", "/a/b", "/a/b/deep", "x", "/a/c", "y"};
  EXPECT_EQ(Told("/a", vanish), withoutZ);
  const auto becomeLink = [&](const fs::path& root) {
    vanish(root);
    fs::create_directory_symlink("a", root / "z");
  };
  EXPECT_EQ(Told("/a", becomeLink), withoutZ) << "links are not followed";
  EXPECT_EQ(Told("", {}, "/a/b"), (Names{"/", "/a", "/a/b"}));
}

// A directory that was closed to save descriptors, and is elsewhere when it is needed again.
TEST(Walk, LostDirectoryIsToldOnceAndTheRestGoesOn) {
  const auto move = [](const fs::path& root) {
    fs::rename(root / "a/b", root / "moved");
    fs::rename(root / "a", root / "elsewhere");
  };
  const std::string gone = ": " + std::to_string(ENOENT);
  EXPECT_EQ(Told("/a/b", move, "", {.openDirectories = 1},
                 {"a/b/c/d/e/x", "a/f/x", "a/g/x", "a/b/f/x", "z/w"}),
            (Names{"/", "/a", "/a/b", "/a/b/c", "/a/b/c/d", "/a/b/c/d/e", "x", "/a/b" + gone,
                   "/a" + gone, "/z", "w"}));
}

// Wide, long and deep parts.
void MakeLargeTree(const fs::path& root) {
  for (int i = 0; i < 3000; ++i) PutFile(root / "wide" / std::to_string(i * 7919 % 3000));
  for (int i = 0; i < 1500; ++i) fs::create_directories(root / "forest" / std::to_string(i) / "t");
  for (int i = 0; i < 300; ++i) {
    PutFile(root / "bushes" / std::to_string(i) / std::string(200, 'n'));
  }
  // Deep, with something to come back for on the way up.
  UniqueFd at(open(root.c_str(), O_RDONLY | O_DIRECTORY));
  for (int level = 0; level < 3000; ++level) {
    ASSERT_EQ(mkdirat(at.get(), "down", 0755), 0);
    if (level % 3 == 0) mkdirat(at.get(), "side", 0755);
    at = UniqueFd(openat(at.get(), "down", O_RDONLY | O_DIRECTORY));
  }
}

// However many threads, however little may wait or be open: what is told is what one thread tells.
TEST(Walk, IsTheSameForAnyNumberOfThreads) {
  const TempDir dir;
  MakeLargeTree(dir.path());
  const Names expected = Walk(dir.path(), {});
  ASSERT_GT(expected.size(), 10'000u);
  for (const unsigned jobs : {1, 2, 8}) {
    for (const WalkLimits limits :
         {WalkLimits{}, WalkLimits{.waitingBytes = 1}, WalkLimits{.openDirectories = 8 * 4}}) {
      EXPECT_TRUE(Walk(dir.path(), {.jobs = jobs, .limits = limits}) == expected)
          << jobs << " jobs, " << limits.waitingBytes << " bytes, " << limits.openDirectories
          << " directories";
    }
  }
  MeddlingVisitor impatient;
  impatient.stopAt = "/down/down";
  EXPECT_EQ(Walk(dir.path(), {.jobs = 8}, impatient).back(), "/down/down");
}

// While others make, rename and remove directories and files, nothing is told twice in one place
// and every walk ends.
TEST(Walk, SurvivesATreeThatChanges) {
  const TempDir dir;
  const fs::path root = dir.path();
  for (int i = 0; i < 200; ++i)
    fs::create_directories(root / std::to_string(i % 10) / "d" / std::to_string(i));
  std::atomic<bool> over = false;
  std::thread meddler([&] {
    for (unsigned i = 0; !over; ++i) {
      const fs::path from = root / std::to_string(i % 10), to = root / std::to_string(10 + i % 7);
      std::error_code ignored;
      fs::rename(from / "d", to, ignored);
      WriteFile(root / ("f" + std::to_string(i % 50)), "");
      fs::remove(root / ("f" + std::to_string((i + 25) % 50)), ignored);
      fs::rename(to, from / "d", ignored);
    }
  });
  for (int round = 0; round < 100; ++round) {
    Names told = Walk(root, {.jobs = 4, .limits = {.openDirectories = 16}});
    EXPECT_EQ(told.front(), "/");
    std::erase_if(told, [](const std::string& name) {
      return name[0] != '/' || name.find(": ") != name.npos;
    });
    const std::set<std::string> unique(told.begin(), told.end());
    EXPECT_EQ(unique.size(), told.size());
    EXPECT_TRUE(unique.contains("/9"));
  }
  over = true;
  meddler.join();
}

TEST(Walk, ExcludedIsLeftOutWithAllBelow) {
  const TempDir dir;
  const fs::path root = dir.path();
  for (const char* name : {"a/b/x.tmp", "a/b/y", "a/tmp/z", "b/a/b/q", "top.tmp"}) {
    PutFile(root / name);
  }
  // clang-format off
  const std::pair<std::vector<std::string>, Names> rows[] = {
      {{"*.tmp"}, {"/", "/a", "/a/b", "y", "/a/tmp", "z", "/b", "/b/a", "/b/a/b", "q"}},
      {{"/a"}, {"/", "top.tmp", "/b", "/b/a", "/b/a/b", "q"}},
      {{"a"}, {"/", "top.tmp", "/b"}},
      {{"*/b"}, {"/", "top.tmp", "/a", "/a/tmp", "z"}},
      {{"/a/*", "top.*"}, {"/", "/a", "/b", "/b/a", "/b/a/b", "q"}},
      {{"/*"}, {"/"}},
  };
  // clang-format on
  for (const auto& [patterns, expected] : rows) {
    WalkOptions options{.jobs = 2};
    for (const std::string& pattern : patterns) options.excludes.Add(pattern);
    EXPECT_EQ(Walk(root, options), expected) << testing::PrintToString(patterns);
  }
}

}  // namespace
}  // namespace tabulon
