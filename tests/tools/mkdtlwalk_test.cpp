#include "tools/mkdtl/walk.h"

#include <fcntl.h>
#include <gmock/gmock.h>

#include <cerrno>
#include <filesystem>
#include <functional>

#include "support.h"

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
  void File(const std::string& name, const struct stat&, const std::string&) override {
    told.push_back(name);
  }
  void Unreadable(const std::string& path, int error) override {
    told.push_back(path + ": " + std::to_string(error));
  }

  std::string when, stopAt;
  std::function<void()> meddle;
  Names told;
};

// What is told of a tree in which `meddle` changes something.
Names Told(const std::string& when, const std::function<void(const fs::path&)>& meddle,
           const std::string& stopAt = "") {
  const TempDir dir;
  const fs::path root = dir.path();
  for (const char* name : {"a/b/deep/x", "a/c/y", "z/w"}) {
    fs::create_directories((root / name).parent_path());
    WriteFile(root / name, "");
  }
  MeddlingVisitor visitor;
  visitor.when = when;
  visitor.stopAt = stopAt;
  visitor.meddle = [&] { meddle(root); };
  TreeWalk(UniqueFd(open(dir.path().c_str(), O_RDONLY | O_DIRECTORY)), visitor).Run();
  return visitor.told;
}

TEST(Walk, FollowsTheTreeAsItChanges) {
  const auto move = [](const fs::path& root) { fs::rename(root / "a/b", root / "z/moved"); };
  const auto vanish = [](const fs::path& root) { fs::remove_all(root / "z"); };
  EXPECT_EQ(Told("/a/b/deep", move), (Names{"/", "/a", "/a/b", "/a/b/deep", "x", "/a/c", "y", "/z",
                                            "w", "/z/moved", "/z/moved/deep", "x"}))
      << "the way back from /a/b leads to /z now";
  const Names withoutZ = {"/", "/a", "/a/b", "/a/b/deep", "x", "/a/c", "y"};
  EXPECT_EQ(Told("/a", vanish), withoutZ);
  const auto becomeLink = [&](const fs::path& root) {
    vanish(root);
    fs::create_directory_symlink("a", root / "z");
  };
  EXPECT_EQ(Told("/a", becomeLink), withoutZ) << "links are not followed";
  EXPECT_EQ(Told(
                "/", [](const fs::path&) {}, "/a/b"),
            (Names{"/", "/a", "/a/b"}));

  const Names lost = Told("/a/b/deep", [&](const fs::path& root) {
    move(root);
    fs::rename(root / "a", root / "elsewhere");
  });
  EXPECT_THAT(lost, testing::Contains("/a: " + std::to_string(ENOENT)));
  EXPECT_THAT(lost, testing::Contains("w")) << "what does not lie on the lost way is still told";
}

}  // namespace
}  // namespace tabulon
