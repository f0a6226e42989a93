#include "tools/mkdtlwalk.h"

#include <fcntl.h>
#include <gmock/gmock.h>

#include <cerrno>
#include <filesystem>
#include <functional>

#include "support.h"

namespace tabulon {
namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;

// Notes what it is told, and changes the tree when it is told a certain directory.
class MeddlingVisitor : public TreeVisitor {
 public:
  MeddlingVisitor(std::string when, std::function<void()> meddle)
      : when_(std::move(when)), meddle_(std::move(meddle)) {}

  bool Directory(const std::string& path, const struct stat&) override {
    told.push_back(path);
    if (path == when_) meddle_();
    return path != stopAt;
  }
  void File(const std::string& name, const struct stat&, const std::string&) override {
    told.push_back(name);
  }
  void Unreadable(const std::string& path, int error) override {
    told.push_back(path + ": " + std::to_string(error));
  }

  std::vector<std::string> told;
  std::string stopAt;

 private:
  std::string when_;
  std::function<void()> meddle_;
};

class Walk : public testing::Test {
 protected:
  Walk() {
    for (const char* name : {"a/b/deep/x", "a/c/y", "z/w"}) {
      fs::create_directories((Root() / name).parent_path());
      WriteFile(Root() / name, "");
    }
  }

  fs::path Root() const { return dir_.path(); }
  std::vector<std::string> Told(const std::string& when, const std::function<void()>& meddle,
                                const std::string& stopAt = "") {
    MeddlingVisitor visitor(when, meddle);
    visitor.stopAt = stopAt;
    TreeWalk(UniqueFd(open(dir_.path().c_str(), O_RDONLY | O_DIRECTORY)), visitor).Run();
    return visitor.told;
  }

  TempDir dir_;
};

TEST_F(Walk, FindsItsWayBackOutOfADirectoryThatMoved) {
  EXPECT_THAT(Told("/a/b/deep", [&] { fs::rename(Root() / "a/b", Root() / "z/moved"); }),
              ElementsAre("/", "/a", "/a/b", "/a/b/deep", "x", "/a/c", "y", "/z", "w", "/z/moved",
                          "/z/moved/deep", "x"))
      << "the way back from /a/b leads to /z now";
}

TEST_F(Walk, GoesOnWhenTheWayBackIsGone) {
  const auto dissolve = [&] {
    fs::rename(Root() / "a/b", Root() / "z/moved");
    fs::rename(Root() / "a", Root() / "elsewhere");
  };
  const std::vector<std::string> told = Told("/a/b/deep", dissolve);
  EXPECT_THAT(told, testing::Contains("/a: " + std::to_string(ENOENT)));
  EXPECT_THAT(told, testing::Contains("w")) << "what does not lie on the lost way is still told";
}

TEST_F(Walk, WhatVanishesIsNotTold) {
  EXPECT_THAT(Told("/a", [&] { fs::remove_all(Root() / "z"); }),
              ElementsAre("/", "/a", "/a/b", "/a/b/deep", "x", "/a/c", "y"));
}

TEST_F(Walk, DirectoryThatBecameALinkIsNotFollowed) {
  EXPECT_THAT(Told("/a",
                   [&] {
                     fs::remove_all(Root() / "z");
                     fs::create_directory_symlink("a", Root() / "z");
                   }),
              ElementsAre("/", "/a", "/a/b", "/a/b/deep", "x", "/a/c", "y"));
}

TEST_F(Walk, VisitorCanEndIt) {
  EXPECT_THAT(Told(
                  "", [] {}, "/a/b"),
              ElementsAre("/", "/a", "/a/b"));
}

}  // namespace
}  // namespace tabulon
