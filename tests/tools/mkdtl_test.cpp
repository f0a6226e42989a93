#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>

#include "base/fileio.h"
#include "companion.h"
#include "detail/rest.h"

namespace tabulon {
namespace {

namespace fs = std::filesystem;
using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

// Holds the rows of a scan against the files below "tree" as lstat(2) has them. Reading a link or a
// directory may change when it was accessed.
constexpr char kCheckTree[] = R"(
import json, os, stat, sys, time
def texts(*times):
    return [time.strftime('%Y-%m-%dT%H:%M:%SZ', time.gmtime(max(each // 10**9, 0))) for each in times]
def stored(row, field):
    hexadecimal = row.get(field + '_bytes')
    return bytes.fromhex(hexadecimal) if hexadecimal else (row[field] or '').encode()
def found(path):
    info = os.lstat(path)
    link, regular = stat.S_ISLNK(info.st_mode), stat.S_ISREG(info.st_mode)
    flags = 1 << 30 if stat.S_ISDIR(info.st_mode) else 1 << 16 if link else 0
    return [flags, info.st_mode, info.st_size, info.st_uid, info.st_gid, info.st_ino % 2**32,
            info.st_nlink, os.readlink(path) if link else b'',
            *texts(info.st_ctime_ns, info.st_mtime_ns, info.st_atime_ns if regular else 0)]
tree = [(path, found(path)) for path in [b'tree'] + [
    os.path.join(directory, name) for directory, below, files in os.walk(b'tree')
    for name in below + files]]
numbers = ('flags', 'attributes', 'size', 'uid', 'gid', 'inode', 'links')
recorded = [(stored(row, 'path'), [*(row[name] for name in numbers), stored(row, 'target'),
             row['created'], row['modified'],
             row['accessed'] if row['type'] == 'file' else texts(0)[0]])
            for row in map(json.loads, sys.stdin)]
assert sorted(recorded) == sorted(tree), set(map(str, recorded)) ^ set(map(str, tree))
)";

class MkdtlScan : public testing::Test {
 protected:
  MkdtlScan() { fs::create_directory(tree()); }

  fs::path tree() const { return dir_ / "tree"; }
  std::string out() const { return dir_ / "out.dtl"; }
  void Put(const fs::path& name, const std::string& text = "") { PutFile(tree() / name, text); }
  // A directory in a directory and so on; the innermost one.
  UniqueFd Deepen(const std::string& name, int depth) const {
    UniqueFd at(open(tree().c_str(), O_RDONLY | O_DIRECTORY));
    for (int i = 0; i < depth; ++i) {
      EXPECT_EQ(mkdirat(at.get(), name.c_str(), 0755), 0);
      at = UniqueFd(openat(at.get(), name.c_str(), O_RDONLY | O_DIRECTORY));
    }
    return at;
  }
  // Paths of all records, in their order. A name holds no line break.
  std::vector<std::string> Paths(const std::string& scan = "out.dtl") const {
    const std::string rows =
        "dtlexport --format csv --no-header --directories --relative --fields ";
    return Lines(RunShell(dir_, rows + "path " + scan).out);
  }

  TempDir dir_;
};

TEST_F(MkdtlScan, RecordsAreWhatTheTreeHolds) {
  Put("plain.txt", "12345");
  Put("deep/er/still/file", std::string(100000, 'x'));
  Put("name \xFF\xC3(not UTF-8)\n/...\x1B[31m", "");
  Put("group", "");
  fs::permissions(tree() / "group", fs::perms{0664});
  fs::create_directories(tree() / "empty");
  fs::create_hard_link(tree() / "plain.txt", tree() / "deep/second");
  fs::create_symlink("plain.txt", tree() / "link");
  fs::create_symlink("../no/such/target", tree() / "deep/dangling");
  fs::create_symlink(std::string(4000, 't'), tree() / "long link");
  fs::create_directory_symlink("..", tree() / "deep/loop");
  ASSERT_EQ(mkfifo((tree() / "pipe").c_str(), 0600), 0);
  ASSERT_EQ(truncate((tree() / "deep/second").c_str(), off_t{5} << 30), 0);
  const timespec times[2] = {{.tv_sec = -5, .tv_nsec = 0}, {.tv_sec = 86400, .tv_nsec = 0}};
  ASSERT_EQ(utimensat(AT_FDCWD, (tree() / "group").c_str(), times, 0), 0);

  WriteFile(dir_ / "check.py", kCheckTree);
  const std::string fields =
      "path,type,flags,attributes,size,uid,gid,inode,links,created,modified,accessed,target";
  RunResult run = RunShell(dir_,
                           "mkdtl scan --root tree tree out.dtl > log && "
                           "dtlexport --format ndjson --directories --fields " +
                               fields + " out.dtl | python3 check.py");
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.err, "");
  EXPECT_THAT(RunShell(dir_, "tabulon -dtl out.dtl").out, HasSubstr("Empty dirs: 1\n"));
}

TEST_F(MkdtlScan, SaysWhereWhenAndOfWhat) {
  Put("file");
  const auto said = [&](const std::string& commands) { return RunShell(dir_, commands).out; };
  const std::string rows = "dtlexport --format csv --no-header --fields ",
                    date = "date -u +%FT%TZ; ";
  const auto times = Lines(said(date + "cd tree; mkdtl scan ../tree/. ../out.dtl > ../log; " +
                                rows + "scanned ../out.dtl; " + date));
  EXPECT_TRUE(times.size() == 3 && times[0] <= times[1] && times[1] <= times[2]);
  EXPECT_EQ(said(rows + "host,root,user,group out.dtl"),
            said("echo $(uname -n),$(realpath tree),$(id -un),$(id -gn)"));
  EXPECT_EQ(
      said("tabulon -dtl out.dtl | tr -d , | sed -n -e 's/.*Volume capa.*(/(/p' -e '/^Server:/p'"),
      said("echo Server: $(uname -n); echo \"($(($(stat -f -c '%b * %S' tree))))\""));
}

TEST_F(MkdtlScan, NamesForReportsReplaceItsOwn) {
  Put("file");
  WriteFile(dir_ / "x.cfg", "[report]\ntype = summary\nformat = csv\nfields = root\n");
  // Reports leave out the last character of a tag that is as long.
  const std::string tag = "\u00FCber 32 characters would be refu";
  const RunResult run = RunShell(
      dir_, "mkdtl scan --root /export/home// --server filer --tag '" + tag +
                "' tree out.dtl && "
                "tabulon -dtl out.dtl && dtlexport --format csv --fields path,host out.dtl && "
                "tabulon -dtl out.dtl -cfg x.cfg -qva");
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_THAT(run.out, AllOf(HasSubstr("Server: filer\n"),
                             HasSubstr("QVA tag: " + tag.substr(0, tag.size() - 1) + "\n"),
                             HasSubstr("\n/export/home/file,filer\n")));
  EXPECT_THAT(dir_.Entries(), Contains(HasSubstr("_filer_export-home")));
}

TEST_F(MkdtlScan, LastLineSaysWhatWasFoundAndLeftOut) {
  Put("one/a.tmp", std::string(2000, 'x'));
  Put("one/b", "12345");
  Put("two/c", "");
  for (const auto& [options, found, excluded] :
       {std::tuple("", "3 files, 1.96 KB \\(2,005 bytes\\)", ""),
        {"--exclude '*.tmp'", "2 files, 5 bytes", ", 1 entry excluded"},
        {"--exclude /one --exclude c", "0 files, 0 bytes", ", 2 entries excluded"}}) {
    const RunResult run = RunShell(dir_, std::string("mkdtl scan ") + options + " tree x.dtl");
    EXPECT_THAT(run.out + run.err, testing::MatchesRegex(std::string("x.dtl: ") + found +
                                                         ", [0-9.]+ s" + excluded + "\n"));
  }
}

TEST_F(MkdtlScan, FilesComeRightAfterTheirDirectoryInSortedOrder) {
  for (const char* name : {"b/z", "b/a/x", "b/c", "a", "c", "B/q", "b/a/y/deep"}) Put(name);
  const std::string result = tree() / "result";  // does not record itself
  // Nor the older one, whose other name is a file like any other.
  Put("result", "older");
  fs::create_hard_link(result, tree() / "yesterday");
  ASSERT_EQ(RunMkdtl({"scan", tree(), result}).status, 0);
  EXPECT_THAT(Paths("tree/result"),
              ElementsAre("/", "/a", "/c", "/yesterday", "/B", "/B/q", "/b", "/b/c", "/b/z", "/b/a",
                          "/b/a/x", "/b/a/y", "/b/a/y/deep"));
}

// The tree is far deeper than a path or the table of open files allows. A path that no record can
// name is told, and the rest is there.
TEST_F(MkdtlScan, DepthHasNoLimitBelowThatOfTheFormat) {
  const UniqueFd at = Deepen("deeper", 1100);
  ASSERT_TRUE(UniqueFd(openat(at.get(), "bottom", O_CREAT | O_WRONLY, 0600)).valid());
  Put("zz/after", "");
  RunResult run = RunMkdtl({"scan", tree(), out()});
  EXPECT_EQ(run.status, 0) << run.err;
  std::vector<std::string> paths = Paths();
  ASSERT_EQ(paths.size(), 1104u);
  EXPECT_EQ(paths[1100].size(), 1100u * 7);
  EXPECT_EQ(paths[1101], paths[1100] + "/bottom");
  EXPECT_EQ(paths[1102], "/zz");

  Deepen(std::string(255, 'n'), 257);
  run = RunMkdtl({"scan", tree(), out()});
  EXPECT_EQ(run.status, 3);
  EXPECT_THAT(run.err, HasSubstr("File name too long\nmkdtl: 1 entries could not be read\n"));
  paths = Paths();
  ASSERT_EQ(paths.size(), 1104u + 255);  // 255 * 256 bytes fit, 256 * 256 do not
  EXPECT_EQ(paths.back(), "/zz/after");
}

// Root may read everything, so that it gives up its rights.
TEST_F(MkdtlScan, WhatCannotBeReadIsToldAndTheRestWritten) {
  if (geteuid() == 0 && !fs::exists("/usr/bin/setpriv")) GTEST_SKIP() << "needs setpriv";
  Put("a/file");
  Put("closed/hidden");
  Put("listed/seen-but-closed");
  Put("z/file");
  fs::permissions(dir_.path(), fs::perms{0777});
  fs::permissions(tree() / "closed", fs::perms{0});
  fs::permissions(tree() / "listed", fs::perms{0444});
  const std::string unprivileged = "setpriv --reuid=65534 --regid=65534 --clear-groups ./";
  const RunResult run =
      RunShell(dir_, "cp $(command -v mkdtl) . && " + (geteuid() == 0 ? unprivileged : "./") +
                         "mkdtl scan tree out.dtl");
  fs::permissions(tree() / "closed", fs::perms{0700});
  fs::permissions(tree() / "listed", fs::perms{0700});
  EXPECT_EQ(run.status, 3);
  const std::string cannot = "mkdtl: cannot read '" + fs::canonical(tree()).string();
  EXPECT_EQ(run.err, cannot + "/closed': Permission denied\n" + cannot +
                         "/listed/seen-but-closed': Permission denied\n" +
                         "mkdtl: 2 entries could not be read\n");
  EXPECT_THAT(Paths(), ElementsAre("/", "/a", "/a/file", "/closed", "/listed", "/z", "/z/file"));
}

// Mount points are directories without contents, told one by one up to ten. /dev usually holds
// some.
TEST_F(MkdtlScan, OtherFilesystemsAreEnteredOnRequest) {
  const std::string told =
      RunShell(dir_,
               "for each in /dev/*; do [[ -L $each ]] || ! mountpoint -q $each || "
               "echo \"mkdtl: '$each' is another filesystem: left out\"; done")
          .out;
  const size_t mounts = Lines(told).size();
  if (told.find("'/dev/shm'") == told.npos || mounts > 10) GTEST_SKIP() << "no fitting mounts";
  const TempDir shared("/dev/shm");
  const std::string inside = shared.path().substr(4);
  RunResult run = RunMkdtl({"scan", "/dev", out()});
  EXPECT_EQ(run.err, told);
  EXPECT_THAT(run.out, HasSubstr(" s, " + std::to_string(mounts) + " mount point"));
  EXPECT_THAT(Paths(), AllOf(Contains("/shm"), Not(Contains(inside))));
  run = RunMkdtl({"scan", "--cross", "/dev", out()});
  EXPECT_EQ(run.err, "");
  EXPECT_THAT(Paths(), Contains(inside));
}

struct MkdtlOutput : testing::Test {
  TempDir dir_;
};

TEST_F(MkdtlOutput, CompressedFormInflatesToThePlainOne) {
  const std::string synth = "mkdtl synth --kind nfs --records 5000 ";
  // A link is written through.
  const RunResult run = RunShell(
      dir_, "ln -s plain link; touch plain; " + synth + "link && " + synth + "--compress packed");
  EXPECT_EQ(run.status, 0);
  EXPECT_TRUE(fs::is_symlink(dir_ / "link"));
  EXPECT_THAT(dir_.Entries(), ElementsAre("link", "packed", "plain"));
  ASSERT_EQ(decompressFile((dir_ / "packed").c_str(), (dir_ / "back").c_str()), 0);
  EXPECT_TRUE(ReadFile(dir_ / "back") == ReadFile(dir_ / "plain"));
}

// An older result stays, and nothing else is left, when a new one cannot be written whole.
TEST_F(MkdtlOutput, FailedWriteLeavesNothing) {
  WriteFile(dir_ / "old", "older result");
  for (const std::string rest : {"old", "new", "--compress old", "--compress new"}) {
    const RunResult run =
        RunShell(dir_, "ulimit -f 100; mkdtl synth --kind cifs --records 50000 " + rest);
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.out, "");
    EXPECT_EQ(run.err,
              "mkdtl: cannot write '" + rest.substr(rest.size() - 3) + "': File too large\n");
    EXPECT_THAT(dir_.Entries(), ElementsAre("old"));
    EXPECT_EQ(ReadFile(dir_ / "old"), "older result");
  }
}

// The shell, or whoever runs the tests, may ignore some signals: mkdtl finds them as `env` sets
// them.
TEST_F(MkdtlOutput, SignalLeavesNothing) {
  const auto ended = [&](int number, const std::string& command, const std::string& signals) {
    return RunShell(dir_,
                    "ulimit -c 0; env " + signals + " mkdtl " + command +
                        " new & while ! ls new.* > /dev/null 2>&1; do sleep 0.01; done; kill -" +
                        std::to_string(number) + " $!; wait $!")
        .status;
  };
  const std::string synth = "synth --kind nfs --records 400000000";
  const std::string usual = "--default-signal";
  for (const int number :
       {SIGHUP, SIGINT, SIGQUIT, SIGPIPE, SIGALRM, SIGTERM, SIGUSR1, SIGUSR2, SIGXCPU}) {
    EXPECT_EQ(ended(number, synth, usual), 128 + number);
    EXPECT_THAT(dir_.Entries(), IsEmpty());
  }
  EXPECT_EQ(ended(SIGINT, synth + " --compress", usual), 128 + SIGINT);
  EXPECT_EQ(ended(SIGINT, "scan --jobs 8 --cross /", usual), 128 + SIGINT);
  EXPECT_THAT(dir_.Entries(), IsEmpty());
  EXPECT_EQ(ended(SIGHUP, "synth --kind nfs --records 300000", "--ignore-signal=HUP"), 0)
      << "what nohup(1) started goes on";
  EXPECT_THAT(dir_.Entries(), ElementsAre("new"));
}

TEST_F(MkdtlOutput, ModeAndOwnerOfWhatWasThereStay) {
  // Mode and owner of a result that is written under this mask.
  const auto result = [&](const std::string& name, const std::string& mask) {
    return RunShell(dir_, "umask " + mask + "; mkdtl synth --kind nfs --records 10 " + name +
                              " > /dev/null && stat -c '%a %u %g' " + name)
        .out;
  };
  const std::string own = RunShell(dir_, "echo $(id -u) $(id -g)").out;
  EXPECT_EQ(result("new", "0"), "640 " + own);
  EXPECT_EQ(result("private", "077"), "600 " + own);
  fs::permissions(dir_ / "new", fs::perms{0604});
  const bool root = geteuid() == 0;
  EXPECT_TRUE(!root || chown((dir_ / "new").c_str(), 12, 34) == 0);
  EXPECT_EQ(result("new", "077"), "604 " + (root ? "12 34\n" : own));
}

}  // namespace
}  // namespace tabulon
