#include "detail/filecompress.h"

#include <gmock/gmock.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <zlib.h>

#include <cerrno>
#include <ctime>
#include <functional>
#include <random>
#include <string>

#include "detail/child.h"
#include "detail/detailfile.h"
#include "support.h"
#include "tools/dtlbuild.h"

namespace tabulon {
namespace {

using testing::ElementsAre;

constexpr size_t kBuffer = 0x80000;

// Bytes of which a part compresses well.
std::string SomeBytes(size_t size) {
  std::mt19937 random(42);
  std::string bytes(size, '\0');
  for (size_t i = 0; i < size; ++i) bytes[i] = static_cast<char>(i % 3 == 0 ? random() : i / 512);
  return bytes;
}

// What zlib itself makes of a whole compressed file; empty when it is none.
std::string Uncompressed(const std::string& bytes, size_t room) {
  std::string plain(room + 1, '\0');
  uLongf size = plain.size();
  const int status = uncompress(reinterpret_cast<Bytef*>(plain.data()), &size,
                                reinterpret_cast<const Bytef*>(bytes.data()), bytes.size());
  return status == Z_OK ? plain.substr(0, size) : std::string();
}

std::string CompressedBy(int level, const std::string& plain) {
  uLongf size = compressBound(plain.size());
  std::string bytes(size, '\0');
  compress2(reinterpret_cast<Bytef*>(bytes.data()), &size,
            reinterpret_cast<const Bytef*>(plain.data()), plain.size(), level);
  return bytes.substr(0, size);
}

mode_t ModeOf(const std::string& path) {
  struct stat info {};
  return stat(path.c_str(), &info) == 0 ? info.st_mode & 07777 : 0;
}

class FileCompressTest : public testing::Test {
 protected:
  TempDir dir_;
};

TEST_F(FileCompressTest, RoundTripsAnySizeAndKeepsTheMode) {
  for (const size_t size : {size_t{0}, size_t{1}, kBuffer - 1, kBuffer, kBuffer + 1, 3 * kBuffer}) {
    const std::string plain = SomeBytes(size);
    const std::string from = dir_ / "from", packed = dir_ / "packed", back = dir_ / "back";
    WriteFile(from, plain);
    ASSERT_EQ(chmod(from.c_str(), 0464), 0);
    ASSERT_EQ(compressFile(from.c_str(), packed.c_str()), 0);
    EXPECT_THAT(ReadFile(packed), testing::StartsWith("\x78\x01"));
    EXPECT_EQ(Uncompressed(ReadFile(packed), size), plain) << size;
    ASSERT_EQ(decompressFile(packed.c_str(), back.c_str()), 0);
    EXPECT_EQ(ReadFile(back), plain);
    EXPECT_EQ(ModeOf(back), 0464U);
    for (const auto& name : dir_.Entries()) unlink((dir_ / name).c_str());
  }
}

TEST_F(FileCompressTest, ReadsStreamsOfOthersAndIgnoresWhatFollows) {
  const std::string plain = SomeBytes(2 * kBuffer + 5);
  for (const auto& stream : {CompressedBy(1, plain), CompressedBy(9, plain), CompressDtl(plain)}) {
    for (const size_t garbage : {size_t{0}, size_t{1}, kBuffer}) {
      WriteFile(dir_ / "from", stream + std::string(garbage, 'x'));
      ASSERT_EQ(decompressFile((dir_ / "from").c_str(), (dir_ / "to").c_str()), 0);
      EXPECT_EQ(ReadFile(dir_ / "to"), plain);
      unlink((dir_ / "to").c_str());
    }
  }
}

TEST_F(FileCompressTest, DamagedStreamsGiveWhatCanBeInflated) {
  const std::string plain(3 * kBuffer, 'p');
  const std::string good = CompressedBy(1, plain);
  const auto changed = [&](size_t at, char byte) {
    std::string bytes = good;
    bytes[at] = byte;
    return bytes;
  };
  const struct {
    std::string stream;
    int status;
    size_t least;  // bytes that come out at least
  } rows[] = {
      {good.substr(0, good.size() - 1), -5, plain.size()},
      {good.substr(0, good.size() - 4), -5, plain.size()},
      {good.substr(0, good.size() / 2), -5, plain.size() / 3},
      {good.substr(0, 2), -5, 0},
      {"", -5, 0},
      {changed(good.size() - 1, static_cast<char>(good.back() + 1)), -3, plain.size()},
      {changed(2, '\x07'), -3, 0},
      {changed(0, '\x79'), -3, 0},
      {changed(1, '\x20'), 2, 0},  // asks for a preset dictionary
  };
  for (const auto& row : rows) {
    WriteFile(dir_ / "from", row.stream);
    const RunResult result = RunInChild([&] {
      if (decompressFile((dir_ / "from").c_str(), (dir_ / "to").c_str()) != 1) std::exit(3);
      if (errno != EBADMSG) std::exit(4);
    });
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.out,
              "tinfl_decompress() failed with status " + std::to_string(row.status) + "!\n");
    const std::string part = ReadFile(dir_ / "to");
    EXPECT_EQ(part, plain.substr(0, part.size()));
    EXPECT_GE(part.size(), row.least);
    unlink((dir_ / "to").c_str());
  }
}

TEST_F(FileCompressTest, NeverOpensWhatIsThere) {
  const std::string from = dir_ / "from", there = dir_ / "there", link = dir_ / "link";
  WriteFile(from, "x\x01");
  WriteFile(there, "kept");
  ASSERT_EQ(symlink("elsewhere", link.c_str()), 0);
  const struct {
    const char* mode;
    std::string from;
    std::string to;
    std::string message;
  } rows[] = {
      {"D", from, there, "Failed opening output file!\n"},
      {"c", from, link, "Failed opening output file!\n"},
      {"c", from, dir_ / "none/to", "Failed opening output file!\n"},
      {"Dull", dir_ / "none", dir_ / "to", "Failed opening input file!\n"},
      {"e", from, dir_ / "to", "Invalid mode!\n"},
      {"", from, dir_ / "to", "Invalid mode!\n"},
  };
  for (const auto& row : rows) {
    const RunResult result = RunInChild([&] {
      std::exit(doCompression(row.mode, row.from.c_str(), row.to.c_str()) + (errno == EBADMSG));
    });
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.out, row.message);
  }
  EXPECT_EQ(ReadFile(there), "kept");
  EXPECT_THAT(dir_.Entries(), ElementsAre("from", "link", "there"));
}

// Opening and closing a detail file in place.
class InPlaceTest : public FileCompressTest {
 protected:
  InPlaceTest() : plain_(BuildDtl({.tail = SomeBytes(4000)})) {}

  void Put(std::string_view bytes, mode_t mode = 0640) {
    for (const auto& name : dir_.Entries()) unlink((dir_ / name).c_str());
    WriteFile(path_, bytes);
    chmod(path_.c_str(), mode);
  }
  std::string Compressed() const { return CompressedBy(1, plain_); }
  std::string Plain(const std::string& bytes) const {
    return bytes == plain_ ? bytes : Uncompressed(bytes, plain_.size());
  }
  void Open() {
    mark_ = 0;
    dtlFile = OpenDtlFile(path_.c_str(), "rb", &mark_);
  }
  void Close() { CloseDtlFile(std::move(dtlFile), path_.c_str(), mark_); }
  // Whether a file of the directory holds `bytes`, or (when they are given) the whole scan.
  bool SomeFileHolds(const std::string& bytes, bool orTheScan) const {
    const auto names = dir_.Entries();
    return std::any_of(names.begin(), names.end(), [&](const std::string& name) {
      const std::string held = ReadFile(dir_ / name);
      return held == bytes || (orTheScan && Plain(held) == plain_);
    });
  }
  bool HasTemporaryFile() const {
    const auto names = dir_.Entries();
    return std::any_of(names.begin(), names.end(),
                       [](const std::string& name) { return name.ends_with(".tmp"); });
  }
  void ExpectSafe(Mishap mishap, const std::string& original, bool intact);

  const std::string path_ = dir_ / "x.dtl";
  const std::string plain_;
  uint32_t mark_ = 0;
};

TEST_F(InPlaceTest, PlainFilesAreLeftAlone) {
  for (const auto& bytes : {plain_, CompressedBy(9, plain_), std::string("x"), std::string()}) {
    Put(bytes);
    const RunResult result = RunInChild([&] {
      Open();
      if (mark_ != 0 || lseek(dtlFile.get(), 0, SEEK_CUR) != 0) std::exit(3);
      Close();
    });
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.out + result.err, "");
    EXPECT_EQ(ReadFile(path_), bytes);
  }
}

TEST_F(InPlaceTest, CompressedFilesGoThereAndBack) {
  Put(Compressed(), 0604);
  RunResult result = RunInChild([&] {
    Open();
    if (mark_ != 1) std::exit(3);
  });
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.out + result.err, "Decompressing DTL file\n");
  EXPECT_EQ(ReadFile(path_), plain_);
  EXPECT_EQ(ModeOf(path_), 0604U);

  result = RunInChild([&] {
    mark_ = 1;
    Close();
  });
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.out + result.err, "Compressing DTL file\n");
  EXPECT_EQ(Uncompressed(ReadFile(path_), plain_.size()), plain_);
  EXPECT_THAT(ReadFile(path_), testing::StartsWith("\x78\x01"));
  EXPECT_EQ(ModeOf(path_), 0604U);
  EXPECT_THAT(dir_.Entries(), ElementsAre("x.dtl"));
}

TEST_F(InPlaceTest, ATakenTemporaryNameStopsTheRun) {
  Put(Compressed());
  for (int ahead = 0; ahead < 10; ++ahead) {
    const auto name = path_ + "-" + std::to_string(std::time(nullptr) + ahead) + ".tmp";
    ASSERT_EQ(symlink("nowhere", name.c_str()), 0);
  }
  const std::string message =
      "Error. Could not write temp file for decompressing '" + path_ + "'\n  (p17) File exists\n";
  EXPECT_EXIT(Open(), testing::ExitedWithCode(1), testing::Eq(message));
  EXPECT_EQ(ReadFile(path_), Compressed());
  mark_ = 1;
  EXPECT_EXIT(Close(), testing::ExitedWithCode(1), testing::Eq(message));
}

TEST_F(InPlaceTest, AMissingFileStopsTheRun) {
  const std::string missing =
      "Couldn't find DTL file: '" + path_ + "'\n  (p2) No such file or directory\n";
  EXPECT_EXIT(Open(), testing::ExitedWithCode(1), testing::Eq(missing));
  mark_ = 1;
  EXPECT_EXIT(Close(), testing::ExitedWithCode(1), testing::Eq(missing));
}

TEST_F(InPlaceTest, DamagedFilesAreSetAside) {
  const std::string damaged = Compressed().substr(0, Compressed().size() - 2);
  Put(damaged);
  WriteFile(path_ + ".damaged", "an older one");
  const RunResult result = RunInChild([&] { Open(); });
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.out, "Decompressing DTL file\ntinfl_decompress() failed with status -5!\n");
  EXPECT_EQ(result.err, "'" + path_ + "' is damaged; it is kept as '" + path_ +
                            ".damaged-2', what could be decompressed takes its place\n");
  EXPECT_EQ(ReadFile(path_), plain_);  // only the checksum was cut
  EXPECT_EQ(ReadFile(path_ + ".damaged-2"), damaged);
  EXPECT_EQ(ReadFile(path_ + ".damaged"), "an older one");
  EXPECT_EQ(dir_.Entries().size(), 3U);
}

// A file size limit behaves like a full disk.
TEST_F(InPlaceTest, AFullDiskLeavesTheFileAsItIs) {
  const auto atLimit = [&](size_t limit, const std::function<void()>& action) {
    return RunInChild([&] {
      signal(SIGXFSZ, SIG_IGN);
      const rlimit small{limit, limit};
      setrlimit(RLIMIT_FSIZE, &small);
      action();
    });
  };
  Put(Compressed());
  RunResult result = atLimit(plain_.size() - 1, [&] { Open(); });
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.out, "Decompressing DTL file\nFailed writing to output file!\n");
  EXPECT_THAT(result.err,
              testing::MatchesRegex("Error occurred during decompression of '.*x.dtl'\nCould not "
                                    "write temp file: .*x.dtl-[0-9]+.tmp\n  \\(p27\\) .*\n"));
  EXPECT_EQ(ReadFile(path_), Compressed());
  EXPECT_THAT(dir_.Entries(), ElementsAre("x.dtl"));

  Put(plain_);
  mark_ = 1;
  result = atLimit(1000, [&] { Close(); });
  EXPECT_EQ(result.status, 1);
  EXPECT_THAT(result.err, testing::StartsWith("Error occurred during compression of '"));
  EXPECT_EQ(ReadFile(path_), plain_);
  EXPECT_THAT(dir_.Entries(), ElementsAre("x.dtl"));
}

#ifdef __x86_64__

// Opens and closes the file with the mishap at each system call in turn. At every end a whole copy
// is there. A run that ended by itself leaves a temporary file only when that is the whole copy, or
// when its removal (once after opening, once after closing) was what failed.
void InPlaceTest::ExpectSafe(Mishap mishap, const std::string& original, bool intact) {
  const auto body = [&] {
    Open();
    Close();
  };
  int leftovers = 0;
  bool reached = true;
  for (int n = 0; reached; ++n) {
    Put(original);
    const int status = RunWithMishap(body, mishap, n, reached);
    ASSERT_FALSE(WIFEXITED(status) && WEXITSTATUS(status) == 99) << "no tracing here";
    ASSERT_TRUE(SomeFileHolds(original, intact)) << n;
    ASSERT_TRUE(reached || n > 40) << n;
    if (mishap == Mishap::kKill) continue;
    ASSERT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) <= 1) << n;
    if (access(path_.c_str(), F_OK) == 0 && HasTemporaryFile()) ++leftovers;
  }
  EXPECT_LE(leftovers, 2);
}

TEST_F(InPlaceTest, SurvivesAKillAtEveryCall) {
  ExpectSafe(Mishap::kKill, Compressed(), true);
}

TEST_F(InPlaceTest, SurvivesAFailureOfEveryCall) {
  ExpectSafe(Mishap::kFail, Compressed(), true);
}

TEST_F(InPlaceTest, ADamagedFileSurvivesThemToo) {
  const std::string damaged = Compressed().substr(0, Compressed().size() / 2);
  ExpectSafe(Mishap::kKill, damaged, false);
  ExpectSafe(Mishap::kFail, damaged, false);
}

#endif

}  // namespace
}  // namespace tabulon
