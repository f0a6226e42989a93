#include <fcntl.h>
#include <gmock/gmock.h>
#include <grp.h>
#include <pwd.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <ctime>
#include <filesystem>

#include "detail/rest.h"
#include "scanread.h"
#include "tests/support/dtlbuild.h"

namespace tabulon {
namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

// The fields of a record that a file's stat decides.
std::string Describe(const RecordSpec& record) {
  std::ostringstream out;
  out << std::hex << record.flags << " mode " << record.attributes << std::dec << " size "
      << record.size << " owner " << record.uid << ":" << record.gid << " inode " << record.inode
      << " links " << record.links << " times " << record.created << " " << record.modified
      << " -> " << record.target;
  return out.str();
}

std::string DescribeFile(const fs::path& path) {
  struct stat info;
  if (lstat(path.c_str(), &info) != 0) return "missing";
  const auto word = [](auto value) { return static_cast<uint32_t>(value); };
  const bool link = S_ISLNK(info.st_mode);
  // clang-format off
  return Describe({.flags = S_ISDIR(info.st_mode) ? kRecordDirectory : link ? kRecordSymlink : 0,
                   .attributes = info.st_mode, .created = word(info.st_ctime),
                   .modified = word(info.st_mtime), .size = static_cast<uint64_t>(info.st_size),
                   .uid = info.st_uid, .gid = info.st_gid, .inode = word(info.st_ino),
                   .links = word(info.st_nlink),
                   .target = link ? fs::read_symlink(path).string() : ""});
  // clang-format on
}

using Tree = std::map<std::string, std::string>;  // path from the root -> description

// A tree as this test's own walk sees it.
Tree WalkedTree(const fs::path& root) {
  Tree tree{{"/", DescribeFile(root)}};
  for (const auto& entry : fs::recursive_directory_iterator(root)) {
    const fs::path path = "/" / entry.path().lexically_relative(root);
    tree[path] = DescribeFile(entry.path());
  }
  return tree;
}

// A tree as the records tell it.
Tree RecordedTree(const ScanRead& scan) {
  Tree tree;
  std::string directory;
  for (const RecordSpec& record : scan.records) {
    const bool isDirectory = (record.flags & kRecordDirectory) != 0;
    if (isDirectory) directory = record.name;
    const fs::path path = isDirectory ? fs::path(record.name) : fs::path(directory) / record.name;
    EXPECT_TRUE(tree.emplace(path, Describe(record)).second) << "recorded twice: " << path;
  }
  return tree;
}

class MkdtlScan : public testing::Test {
 protected:
  MkdtlScan() { fs::create_directory(tree()); }

  fs::path tree() const { return dir_ / "tree"; }
  std::string out() const { return dir_ / "out.dtl"; }
  void Put(const fs::path& name, const std::string& text = "") {
    fs::create_directories((tree() / name).parent_path());
    WriteFile(tree() / name, text);
  }
  // A directory in a directory and so on; the innermost one.
  UniqueFd Deepen(const std::string& name, int depth) const {
    UniqueFd at(open(tree().c_str(), O_RDONLY | O_DIRECTORY));
    for (int i = 0; i < depth; ++i) {
      EXPECT_EQ(mkdirat(at.get(), name.c_str(), 0755), 0);
      at = UniqueFd(openat(at.get(), name.c_str(), O_RDONLY | O_DIRECTORY));
    }
    return at;
  }

  TempDir dir_;
};

TEST_F(MkdtlScan, RecordsAreWhatTheTreeHolds) {
  Put("plain.txt", "12345");
  Put("deep/er/still/file", std::string(100000, 'x'));
  Put("name \xFF\xC3(not UTF-8)\n", "");
  Put("group", "");
  fs::permissions(tree() / "group", fs::perms{0664});
  fs::create_directories(tree() / "empty");
  fs::create_hard_link(tree() / "plain.txt", tree() / "deep/second");
  fs::create_symlink("plain.txt", tree() / "link");
  fs::create_symlink("../no/such/target", tree() / "deep/dangling");
  fs::create_symlink(std::string(4000, 't'), tree() / "long link");
  fs::create_directory_symlink("deep", tree() / "dirlink");
  ASSERT_EQ(mkfifo((tree() / "pipe").c_str(), 0600), 0);
  ASSERT_EQ(truncate((tree() / "deep/second").c_str(), off_t{5} << 30), 0);
  const timespec times[2] = {{.tv_sec = -5, .tv_nsec = 0}, {.tv_sec = 86400, .tv_nsec = 0}};
  ASSERT_EQ(utimensat(AT_FDCWD, (tree() / "group").c_str(), times, 0), 0);

  const RunResult run = RunMkdtl({"scan", tree(), out()});
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.err, "");
  const ScanRead scan = ReadScan(out());
  EXPECT_EQ(RecordedTree(scan), WalkedTree(tree()));
  EXPECT_EQ(scan.root.emptyDirectories, 1u);
  const auto group = std::find_if(scan.records.begin(), scan.records.end(),
                                  [](const RecordSpec& r) { return r.name == "group"; });
  EXPECT_EQ(group->accessed, 0u) << "a time before 1970 is stored as 1970";
}

TEST_F(MkdtlScan, SaysWhereWhenAndOfWhat) {
  Put("file");
  const std::time_t before = std::time(nullptr);
  EXPECT_EQ(RunMkdtl({"scan", "../tree/.", out()}, {.cwd = tree()}).status, 0);
  const ScanRead scan = ReadScan(out());
  const std::string bytes = ReadFile(out());
  EXPECT_TRUE(scan.header.magic == kMagicFinished && scan.header.revision == 8);
  EXPECT_EQ(scan.header.flags, kHeaderNfs);
  EXPECT_TRUE(scan.header.scanTime >= before && scan.header.scanTime <= std::time(nullptr));
  char host[256] = {};
  gethostname(host, sizeof host - 1);
  const std::string root = fs::canonical(tree());
  for (const auto& [at, text] : {std::pair(scan.header.serverString, std::string(host)),
                                 {scan.root.hostString, host},
                                 {scan.root.rootString, root}}) {
    EXPECT_EQ(ReadUnits(bytes, at), std::u16string(text.c_str(), text.c_str() + text.size() + 1));
  }
  struct statvfs volume;
  ASSERT_EQ(statvfs(tree().c_str(), &volume), 0);
  EXPECT_EQ(scan.root.volumeCapacity, volume.f_blocks * volume.f_frsize);
  const std::map<uint32_t, std::string> users = {{geteuid(), getpwuid(geteuid())->pw_name}};
  const std::map<uint32_t, std::string> groups = {{getegid(), getgrgid(getegid())->gr_name}};
  EXPECT_EQ(ReadIds(bytes, scan.header.idSection, kIdUser), users);
  EXPECT_EQ(ReadIds(bytes, scan.header.idSection, kIdGroup), groups);
}

TEST_F(MkdtlScan, NamesForReportsReplaceItsOwn) {
  Put("file");
  const std::string tag = "\u00FCber 32 characters would be refu";
  ASSERT_EQ(RunMkdtl({"scan", "--root", "/export/home//", "--server", "filer", "--tag", tag, tree(),
                      out()})
                .status,
            0);
  const ScanRead scan = ReadScan(out());
  const std::string bytes = ReadFile(out());
  EXPECT_EQ(scan.header.flags, kHeaderNfs | kHeaderQvaTagged);
  using Text = std::u16string;
  for (const auto& [at, text] :
       {std::pair(scan.header.serverString, Text(u"filer")),
        {scan.root.hostString, u"filer"},
        {scan.root.rootString, u"/export/home"},
        {scan.header.tagString, u"\u00FCber 32 characters would be refu"}}) {
    EXPECT_EQ(ReadUnits(bytes, at), text + u'\0');
  }
  WriteFile(dir_ / "x.cfg", "[report]\ntype = summary\nformat = csv\nfields = root\n");
  const RunResult collected =
      RunTabulon({"-dtl", "out.dtl", "-cfg", "x.cfg", "-qva"}, {.cwd = dir_.path()});
  EXPECT_EQ(collected.status, 0) << collected.err;
  EXPECT_THAT(dir_.Entries(), testing::Contains(HasSubstr("_filer_export-home")));
}

TEST_F(MkdtlScan, LastLineSaysWhatWasFoundAndLeftOut) {
  Put("one/a.tmp", std::string(2000, 'x'));
  Put("one/b", "12345");
  Put("two/c", "");
  const auto scan = [&](std::vector<std::string> options) {
    options.insert(options.begin(), "scan");
    options.insert(options.end(), {tree(), "x.dtl"});
    const RunResult run = RunMkdtl(options, {.cwd = dir_.path()});
    return run.out + run.err;
  };
  const auto says = [](const std::string& found, const std::string& excluded = "") {
    return testing::MatchesRegex("x.dtl: " + found + ", [0-9.]+ s" + excluded + "\n");
  };
  EXPECT_THAT(scan({}), says("3 files, 1.96 KB \\(2,005 bytes\\)"));
  EXPECT_THAT(scan({"--exclude", "*.tmp"}), says("2 files, 5 bytes", ", 1 entry excluded"));
  EXPECT_THAT(scan({"--exclude", "/one", "--exclude", "c"}),
              says("0 files, 0 bytes", ", 2 entries excluded"));
}

TEST_F(MkdtlScan, FilesComeRightAfterTheirDirectoryInSortedOrder) {
  for (const char* name : {"b/z", "b/a/x", "b/c", "a", "c", "B/q", "b/a/y/deep"}) Put(name);
  const std::string result = tree() / "result";  // does not record itself
  // Nor the older one, whose other name is a file like any other.
  Put("result", "older");
  fs::create_hard_link(result, tree() / "yesterday");
  ASSERT_EQ(RunMkdtl({"scan", tree(), result}).status, 0);
  std::vector<std::string> names;
  for (const RecordSpec& record : ReadScan(result).records) names.push_back(record.name);
  EXPECT_THAT(names, ElementsAre("/", "a", "c", "yesterday", "/B", "q", "/b", "c", "z", "/b/a", "x",
                                 "/b/a/y", "deep"));
}

// The tree is far deeper than a path or the table of open files allows. A path that no record can
// name is told, and the rest is there.
TEST_F(MkdtlScan, DepthHasNoLimitBelowThatOfTheFormat) {
  const UniqueFd at = Deepen("deeper", 1100);
  ASSERT_TRUE(UniqueFd(openat(at.get(), "bottom", O_CREAT | O_WRONLY, 0600)).valid());
  Put("zz/after", "");
  RunResult run = RunMkdtl({"scan", tree(), out()});
  EXPECT_EQ(run.status, 0) << run.err;
  ScanRead scan = ReadScan(out());
  ASSERT_EQ(scan.records.size(), 1104u);
  EXPECT_EQ(scan.records[1100].name.size(), 1100u * 7);
  EXPECT_EQ(scan.records[1101].name + scan.records[1102].name, "bottom/zz");

  Deepen(std::string(255, 'n'), 257);
  run = RunMkdtl({"scan", tree(), out()});
  EXPECT_EQ(run.status, 3);
  EXPECT_THAT(run.err, HasSubstr("File name too long\nmkdtl: 1 entries could not be read\n"));
  scan = ReadScan(out());
  ASSERT_EQ(scan.records.size(), 1104u + 255);  // 255 * 256 bytes fit, 256 * 256 do not
  EXPECT_EQ(scan.records.back().name, "after");
}

// Runs the program without the rights of root, which may read everything.
RunResult RunUnprivileged(const TempDir& dir, std::vector<std::string> args) {
  if (geteuid() != 0) return RunMkdtl(args);
  const std::string program = dir / "mkdtl";
  fs::copy_file(MkdtlPath(), program);
  std::vector<std::string> argv = {"/usr/bin/setpriv", "--reuid=65534", "--regid=65534",
                                   "--clear-groups", program};
  argv.insert(argv.end(), args.begin(), args.end());
  return RunProgram(argv);
}

TEST_F(MkdtlScan, WhatCannotBeReadIsToldAndTheRestWritten) {
  if (geteuid() == 0 && !fs::exists("/usr/bin/setpriv")) GTEST_SKIP() << "needs setpriv";
  Put("a/file");
  Put("closed/hidden");
  Put("listed/seen-but-closed");
  Put("z/file");
  fs::permissions(dir_.path(), fs::perms{0777});
  fs::permissions(tree() / "closed", fs::perms{0});
  fs::permissions(tree() / "listed", fs::perms{0444});
  const RunResult run = RunUnprivileged(dir_, {"scan", tree(), out()});
  fs::permissions(tree() / "closed", fs::perms{0700});
  fs::permissions(tree() / "listed", fs::perms{0700});
  EXPECT_EQ(run.status, 3);
  const std::string cannot = "mkdtl: cannot read '" + fs::canonical(tree()).string();
  EXPECT_EQ(run.err, cannot + "/closed': Permission denied\n" + cannot +
                         "/listed/seen-but-closed': Permission denied\n" +
                         "mkdtl: 2 entries could not be read\n");
  std::vector<std::string> paths;
  for (const auto& [path, unused] : RecordedTree(ReadScan(out()))) paths.push_back(path);
  EXPECT_THAT(paths, ElementsAre("/", "/a", "/a/file", "/closed", "/listed", "/z", "/z/file"));
}

// Mount points are directories without contents, told one by one up to ten. /dev usually holds
// some.
TEST_F(MkdtlScan, OtherFilesystemsAreEnteredOnRequest) {
  struct stat dev, info;
  ASSERT_EQ(lstat("/dev", &dev), 0);
  std::string told;
  std::vector<std::string> mounts;
  for (const auto& entry : fs::directory_iterator("/dev")) {
    if (lstat(entry.path().c_str(), &info) != 0 || info.st_dev == dev.st_dev) continue;
    if (S_ISDIR(info.st_mode)) mounts.push_back(entry.path().filename());
  }
  if (mounts.empty() || mounts.size() > 10) GTEST_SKIP() << "no fitting mounts below /dev";
  std::sort(mounts.begin(), mounts.end());
  for (const std::string& mount : mounts) {
    told += "mkdtl: '/dev/" + mount + "' is another filesystem: left out\n";
  }
  RunResult run = RunMkdtl({"scan", "/dev", out()});
  EXPECT_EQ(run.err, told);
  EXPECT_THAT(run.out, HasSubstr(" s, " + std::to_string(mounts.size()) + " mount point"));
  const Tree alone = RecordedTree(ReadScan(out()));
  for (const std::string& mount : mounts) {
    ASSERT_TRUE(alone.contains("/" + mount));
    const auto next = alone.upper_bound("/" + mount + "/");
    EXPECT_TRUE(next == alone.end() || !next->first.starts_with("/" + mount + "/")) << mount;
  }
  const TempDir shared("/dev/shm");
  run = RunMkdtl({"scan", "--cross", "/dev", out()});
  EXPECT_EQ(run.err, "");
  EXPECT_TRUE(RecordedTree(ReadScan(out())).contains(shared.path().substr(4)));
}

class MkdtlOutput : public testing::Test {
 protected:
  TempDir dir_;

  RunResult Synth(const std::string& out) {
    return RunMkdtl({"synth", "--kind", "nfs", "--records", "5000", out}, {.cwd = dir_.path()});
  }
};

TEST_F(MkdtlOutput, CompressedFormInflatesToThePlainOne) {
  fs::create_symlink("plain", dir_ / "link");
  WriteFile(dir_ / "plain", "");
  ASSERT_EQ(Synth("link").status, 0);  // a link is written through
  EXPECT_TRUE(fs::is_symlink(dir_ / "link"));
  ASSERT_EQ(RunMkdtl({"synth", "--kind", "nfs", "--records", "5000", "--compress", dir_ / "packed"})
                .status,
            0);
  EXPECT_THAT(dir_.Entries(), ElementsAre("link", "packed", "plain"));
  ASSERT_EQ(decompressFile((dir_ / "packed").c_str(), (dir_ / "back").c_str()), 0);
  EXPECT_TRUE(ReadFile(dir_ / "back") == ReadFile(dir_ / "plain"));
}

// An older result stays, and nothing else is left, when a new one cannot be written whole.
TEST_F(MkdtlOutput, FailedWriteLeavesNothing) {
  for (const std::string form : {"", "--compress"}) {
    WriteFile(dir_ / "old", "older result");
    const std::string command =
        "ulimit -f 200; exec " + MkdtlPath() + " synth --kind cifs --records 50000 " + form + " ";
    for (const char* name : {"old", "new"}) {
      const RunResult run = RunProgram({"/bin/sh", "-c", command + name}, {.cwd = dir_.path()});
      EXPECT_EQ(run.status, 1);
      EXPECT_EQ(run.out, "");
      EXPECT_EQ(run.err, std::string("mkdtl: cannot write '") + name + "': File too large\n");
    }
    EXPECT_THAT(dir_.Entries(), ElementsAre("old"));
    EXPECT_EQ(ReadFile(dir_ / "old"), "older result");
  }
}

// The shell, or whoever runs the tests, may ignore some signals: mkdtl finds them as `env` sets
// them.
TEST_F(MkdtlOutput, SignalLeavesNothing) {
  const auto ended = [&](int number, const std::string& command, const std::string& signals) {
    const std::string script = "ulimit -c 0; env " + signals + " " + MkdtlPath() + " " + command +
                               " new & while ! ls new.* > /dev/null 2>&1; do sleep 0.01; done; "
                               "kill -" +
                               std::to_string(number) + " $!; wait $!";
    return RunProgram({"/bin/bash", "-c", script}, {.cwd = dir_.path()}).status;
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

// The process mask must be the test's own.
TEST_F(MkdtlOutput, ModeAndOwnerOfWhatWasThereStay) {
  const auto synth = [&](const std::string& name, const std::string& mask) {
    const std::string command =
        "umask " + mask + "; " + MkdtlPath() + " synth --kind nfs --records 10 " + name;
    EXPECT_EQ(RunProgram({"/bin/sh", "-c", command}, {.cwd = dir_.path()}).status, 0);
    struct stat info;
    EXPECT_EQ(stat((dir_ / name).c_str(), &info), 0);
    return info;
  };
  EXPECT_EQ(synth("new", "0").st_mode & 07777, 0640u);
  EXPECT_EQ(synth("private", "077").st_mode & 07777, 0600u);
  fs::permissions(dir_ / "new", fs::perms{0604});
  const bool root = geteuid() == 0;
  if (root) {
    ASSERT_EQ(chown((dir_ / "new").c_str(), 12, 34), 0);
  }
  const struct stat kept = synth("new", "077");
  EXPECT_EQ(kept.st_mode & 07777, 0604u);
  EXPECT_TRUE(!root || (kept.st_uid == 12 && kept.st_gid == 34));
}

TEST_F(MkdtlOutput, NamesThatCannotBeResults) {
  ASSERT_EQ(mkfifo((dir_ / "pipe").c_str(), 0600), 0);
  const std::string notRegular = "it is there and no regular file";
  for (const auto& [name, problem] :
       {std::pair("pipe", notRegular), {".", notRegular}, {"no/d", "No such file or directory"}}) {
    const RunResult run = Synth(name);
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.err, "mkdtl: cannot write '" + std::string(name) + "': " + problem + "\n");
  }
  EXPECT_THAT(dir_.Entries(), ElementsAre("pipe"));
}

TEST(MkdtlCommand, WrongUsageIsTold) {
  // clang-format off
  const std::pair<std::vector<std::string>, std::string> rows[] = {
      {{}, "no command"}, {{"walk"}, "unknown command: walk"},
      {{"scan"}, "'scan' needs a directory and a result file"},
      {{"scan", "a", "b", "c"}, "'scan' needs a directory and a result file"},
      {{"synth", "x"}, "'synth' needs --kind and --records"},
      {{"synth", "--kind", "nfs", "--records", "1"}, "'synth' needs one result file"},
      {{"synth", "--kind", "smb", "--records", "1", "x"}, "--kind is nfs or cifs, not smb"},
      {{"synth", "--kind", "nfs", "--records", "0", "x"}, "not a number of records: 0"},
      {{"synth", "--records", "4294967296", "x"}, "not a number of records: 4294967296"},
      {{"synth", "--records", "1", "--seed", "-1", "x"}, "not a seed: -1"},
      {{"scan", ".", "-"}, "a scan cannot be written to standard output"},
      {{"synth", "--kind", "nfs", "--records", "1", "-"},
       "a scan cannot be written to standard output"},
      {{"scan", "--jobs", "0", ".", "x"}, "--jobs is a number from 1 to 1000, not 0"},
      {{"scan", "--jobs", "2x", ".", "x"}, "--jobs is a number from 1 to 1000, not 2x"},
      {{"scan", "--exclude", "", ".", "x"}, "--exclude needs a pattern"},
      {{"scan", "--tag", std::string(33, 't'), ".", "x"},
       "--tag has more than 32 characters: " + std::string(33, 't')},
      {{"scan", "--tag", "a/b", ".", "x"},
       "no tag (empty, a blank in front, '/', '|' or control characters): a/b"},
      {{"scan", "--root", "\xFF", ".", "x"}, "--root cannot be shown: \xFF"},
  };
  // clang-format on
  const TempDir dir;
  for (const auto& [args, problem] : rows) {
    const RunResult run = RunMkdtl(args, {.cwd = dir.path()});
    EXPECT_EQ(run.status, 2);
    EXPECT_EQ(run.err, "mkdtl: " + problem + "\nTry 'mkdtl --help'.\n");
  }
  for (const char* help : {"--help", "-h"}) {
    EXPECT_THAT(RunMkdtl({help}).out, HasSubstr("usage: mkdtl scan"));
    EXPECT_THAT(RunMkdtl({"scan", help}).out, HasSubstr("usage: mkdtl scan"));
  }
  EXPECT_EQ(RunMkdtl({"--version"}).out, RunMkdtl({"synth", "--version"}).out);
  EXPECT_EQ(RunMkdtl({"scan", "/no/such", "x"}, {.cwd = dir.path()}).err,
            "mkdtl: cannot open directory '/no/such': No such file or directory\n");
  EXPECT_THAT(dir.Entries(), IsEmpty());
}

}  // namespace
}  // namespace tabulon
