#include "detail/filecompress.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <zlib.h>

#include <random>
#include <string>

#include "base/loganderr.h"
#include "detail/filereplace.h"
#include "detail/rest.h"
#include "support.h"
#include "tests/support/dtlbuild.h"
#include "tests/support/openscan.h"

namespace tabulon {
namespace {

namespace fs = std::filesystem;

constexpr size_t kBuffer = 0x80000;

// Bytes of which a part compresses well.
std::string SomeBytes(size_t size) {
  std::mt19937 random(42);
  std::string bytes(size, '\0');
  for (size_t i = 0; i < size; ++i) bytes[i] = static_cast<char>(i % 3 == 0 ? random() : i / 512);
  return bytes;
}

std::string CompressedBy(int level, const std::string& plain) {
  uLongf size = compressBound(plain.size());
  std::string bytes(size, '\0');
  compress2(reinterpret_cast<Bytef*>(bytes.data()), &size,
            reinterpret_cast<const Bytef*>(plain.data()), plain.size(), level);
  return bytes.substr(0, size);
}

TEST(CompressFile, KeepsTheModeAndMakesNewFilesOnly) {
  const TempDir dir;
  const std::string from = dir / "from", packed = dir / "packed", plain = SomeBytes(kBuffer + 1);
  WriteFile(from, plain);
  ASSERT_EQ(chmod(from.c_str(), 0464), 0);
  ASSERT_EQ(doCompression("c", from.c_str(), packed.c_str()), 0);
  EXPECT_TRUE(ReadFile(packed) == CompressDtl(plain));
  EXPECT_EQ(fs::status(packed).permissions(), fs::perms{0464});
  testing::internal::CaptureStdout();
  EXPECT_EQ(decompressFile(packed.c_str(), from.c_str()), 1);
  Console().Flush();
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "Failed opening output file!\n");
  EXPECT_TRUE(ReadFile(from) == plain);
}

// Streams of others are read, what follows them is not, and damaged ones give what can be inflated.
TEST(InflateStream, GivesWhatItCan) {
  const std::string plain = SomeBytes(3 * kBuffer + 9), good = CompressedBy(1, plain);
  const auto changed = [&](size_t at, char byte) {
    return std::string(good).replace(at, 1, 1, byte);
  };
  const std::string told = "tinfl_decompress() failed with status ";
  // The stream, zlib's status (0: whole) and the bytes that come out at least.
  // clang-format off
  const struct { std::string stream; int status; size_t least; } rows[] = {
      {good + std::string(kBuffer, 'x'), 0, plain.size()}, {CompressDtl(plain), 0, plain.size()},
      {CompressedBy(9, plain), 0, plain.size()}, {good.substr(0, good.size() - 1), -5, plain.size()},
      {good.substr(0, good.size() / 2), -5, plain.size() / 3}, {good.substr(0, 2), -5, 0},
      {"", -5, 0}, {changed(good.size() - 1, static_cast<char>(good.back() + 1)), -3, plain.size()},
      {changed(2, '\x07'), -3, 0}, {changed(0, '\x79'), -3, 0},
      {changed(1, '\x20'), 2, 0},  // asks for a preset dictionary
  };
  // clang-format on
  for (const auto& row : rows) {
    const UniqueFd from = FileInMemory(row.stream), to = FileInMemory("");
    testing::internal::CaptureStdout();
    const Inflated inflated = InflateStream(from.get(), to.get());
    Console().Flush();
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              row.status == 0 ? "" : told + std::to_string(row.status) + "!\n");
    EXPECT_EQ(inflated.outcome, row.status == 0 ? Inflated::kWhole : Inflated::kSourceFailed);
    const std::string part = ReadFile("/proc/self/fd/" + std::to_string(to.get()));
    EXPECT_TRUE(part.size() >= row.least && part == plain.substr(0, part.size()));
  }
}

// The owner of a file cannot always be kept: then nobody gets its set-uid bit, either.
TEST(TakePermittedOwnerAndModeDeathTest, DropsSetIdBitsWithTheirOwner) {
  const TempDir dir;
  chmod(dir.path().c_str(), 0777);
  const auto unprivileged = [&] {
    if (geteuid() == 0 && (setgid(65534) != 0 || setuid(65534) != 0)) _exit(1);
    struct stat like {};
    like.st_mode = S_IFREG | 06755;
    for (const char* name : {"group of root", "own group"}) {
      WriteFile(dir / name, "");
      TakePermittedOwnerAndMode(open((dir / name).c_str(), O_RDONLY), like);
      like.st_gid = getegid();
    }
    _exit(0);
  };
  EXPECT_EXIT(unprivileged(), testing::ExitedWithCode(0), "");
  EXPECT_EQ(fs::status(dir / "group of root").permissions(), fs::perms{0755});
  EXPECT_EQ(fs::status(dir / "own group").permissions(), fs::perms{02755});
}

}  // namespace
}  // namespace tabulon
