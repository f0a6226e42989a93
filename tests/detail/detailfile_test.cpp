#include "detail/detailfile.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <cerrno>
#include <ctime>

#include "base/fileio.h"
#include "fuzz/faults.h"
#include "support.h"
#include "tests/ending.h"
#include "tests/support/dtlbuild.h"

namespace tabulon {
namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;

class DetailFileTest : public testing::Test {
 protected:
  void Put(std::string_view bytes) {
    for (const auto& name : dir_.Entries()) unlink((dir_ / name).c_str());
    WriteFile(path_, bytes);
    chmod(path_.c_str(), 0604);
  }
  // A run that ends in the way given; `meanwhile` happens after its opening.
  RunResult Run(
      void (*end)(DetailFile&), const std::function<void()>& meanwhile = [] {},
      const std::string& name = "") {
    testing::internal::CaptureStdout();
    const Ending ending = EndingOf([&] {
      Logs logs;
      DetailFile detail = OpenDtlFile((name.empty() ? path_ : name).c_str(), "rb");
      meanwhile();
      end(detail);
      if (!CloseLogErrFiles()) throw EndOfRun{1};
    });
    return {ending.status, testing::internal::GetCapturedStdout(), ending.err};
  }
  std::string Told(const std::string& rest) const { return "'" + path_ + "' " + rest + "\n"; }

  TempDir dir_;
  const std::string path_ = dir_ / "x.dtl";
  const std::string plain_ = BuildDtl({.tail = std::string(4000, 'x')});
  const std::string packed_ = CompressDtl(plain_);
};

TEST_F(DetailFileTest, PlainFilesAreReadAsTheyAre) {
  const std::string otherLevel = std::string("\x78\x9C", 2) + packed_.substr(2);
  for (const auto& bytes : {plain_, otherLevel, std::string("x"), std::string()}) {
    Put(bytes);
    WriteFile(path_ + "-1.tmp", "");  // nobody asks beside a plain file
    for (const auto& end : {CloseDtlFile, KeepInflated}) {
      const RunResult run = Run(end);
      EXPECT_EQ(run.status, 0);
      EXPECT_EQ(run.out + run.err + ReadFile(path_), bytes);
    }
  }
}

TEST_F(DetailFileTest, OnlyAQueryLeavesTheInflatedForm) {
  Put(packed_);
  fs::create_hard_link(path_, dir_ / "other");
  struct stat before {
  }, after{};
  stat(path_.c_str(), &before);
  EXPECT_EQ(Run(CloseDtlFile).status, 0);
  stat(path_.c_str(), &after);
  EXPECT_TRUE(FileState::Of(before) == FileState::Of(after) && before.st_ino == after.st_ino);
  EXPECT_EQ(before.st_ctim.tv_nsec, after.st_ctim.tv_nsec);

  fs::create_symlink("x.dtl", dir_ / "link");
  const RunResult kept = Run(
      KeepInflated, [] {}, dir_ / "link");
  EXPECT_EQ(kept.out + kept.err, "Decompressing DTL file\n");
  EXPECT_TRUE(fs::is_symlink(dir_ / "link"));
  EXPECT_EQ(ReadFile(path_), plain_);
  EXPECT_EQ(ReadFile(dir_ / "other"), packed_);
  stat(path_.c_str(), &after);
  EXPECT_EQ(after.st_mode, before.st_mode);
  EXPECT_THAT(dir_.Entries(), ElementsAre("link", "other", "x.dtl"));
}

TEST_F(DetailFileTest, WhatCannotBeReadEndsTheRun) {
  mkfifo((dir_ / "pipe").c_str(), 0600);
  for (const auto& name : {std::string("/dev/zero"), dir_ / "pipe"}) {
    EXPECT_ENDS(OpenDtlFile(name.c_str(), "rb"), 1,
                "'" + name + "' is not a valid Trawlix detail log file\n");
  }
  Put(packed_);
  EXPECT_EQ(Run(CloseDtlFile, [&] { unlink(path_.c_str()); }).err,
            "Couldn't find DTL file: '" + path_ + "'\n  (p2) No such file or directory\n");
  Put(packed_);
  // The names of copies hold the time: all that can come before the test is given up.
  for (int ahead = 0; ahead < 400; ++ahead) {
    const auto name = path_ + "-" + std::to_string(std::time(nullptr) + ahead) + ".tmp";
    fs::create_symlink("nowhere", name);
  }
  EXPECT_ENDS(
      OpenDtlFile(path_.c_str(), "rb"), 1,
      "Error. Could not write temp file for decompressing '" + path_ + "'\n  (p17) File exists\n");
}

// Damage and change while it is read are told and count. What only keeps a query's inflated copy
// from the file's place is told, and no fault. The file stays what it is.
TEST_F(DetailFileTest, WhatIsNotWholeOrNotAloneIsTold) {
  const auto nothing = [] {};
  const auto append = [&] {
    const UniqueFd file(open(path_.c_str(), O_WRONLY | O_APPEND));
    WriteFully(file.get(), "x", 1);
  };
  UniqueFd held;
  const auto reader = [&] {
    held = UniqueFd(open(path_.c_str(), O_RDONLY));
    flock(held.get(), LOCK_SH);
  };
  SharedCount calls;
  const auto refuseNames = [&] { ArmFault({kCallName, Mishap::kFails, EACCES, 1}, calls.get()); };
  const auto successor = [&] {
    WriteFile(dir_ / "new", "a newer scan");
    fs::rename(dir_ / "new", path_);
  };
  const std::string cut = packed_.substr(0, packed_.size() - 2), more = packed_ + "more";
  const std::string damage =
      Told("is damaged; what could be decompressed of it is used for this run");
  const std::string replaced = Told("is no longer the file that was read, and stays as it is");
  const struct {
    void (*end)(DetailFile&);
    std::string stored;
    std::function<void()> meanwhile;
    std::string err, after;
    int status;
  } rows[] = {
      {CloseDtlFile, cut, nothing, damage, cut, 1},
      {KeepInflated, cut, nothing, damage, cut, 1},
      {CloseDtlFile, more, nothing, Told("holds 4 bytes after the end of its compressed stream"),
       more, 0},
      {CloseDtlFile, plain_, append, Told("was changed while it was read"), plain_ + "x", 1},
      // After its last byte has been read.
      {CloseDtlFile, packed_, append, "", packed_ + "x", 0},
      {KeepInflated, packed_, append, replaced, packed_ + "x", 0},
      {KeepInflated, packed_, successor, replaced, "a newer scan", 0},
      {KeepInflated, packed_, refuseNames, Told("stays compressed\n  (p13) Permission denied"),
       packed_, 0},
      {KeepInflated, packed_, reader, Told("stays compressed: another run reads it"), packed_, 0},
  };
  for (const auto& row : rows) {
    Put(row.stored);
    const RunResult run = Run(row.end, row.meanwhile);
    EXPECT_EQ(run.err, row.err);
    EXPECT_EQ(run.status, row.status) << row.err;
    EXPECT_EQ(ReadFile(path_), row.after);
    EXPECT_THAT(dir_.Entries(), ElementsAre("x.dtl"));
    ArmFault({}, calls.get());
  }
}

TEST_F(DetailFileTest, CopiesOfKilledRunsAreNamed) {
  Put(packed_);
  const DetailFile running = OpenDtlFile(path_.c_str(), "rb");
  Console().Flush();
  fs::rename(running.copy.path(), path_ + "-13.tmp");  // it is in use
  for (const char* other : {"-12.tmp", "-12x.tmp", "-.tmp", "-1.tm", ".tmp"}) {
    WriteFile(path_ + other, "");
  }
  EXPECT_EQ(Run(CloseDtlFile).err, "'" + path_ + "-12.tmp' was left by a run that was killed; '" +
                                       path_ + "' is whole without it: delete it\n");
}

}  // namespace
}  // namespace tabulon
