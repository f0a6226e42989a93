#include "base/tempfile.h"

#include <gmock/gmock.h>
#include <sys/stat.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <optional>
#include <random>
#include <vector>

#include "base/loganderr.h"
#include "base/spoolfile.h"
#include "base/textspool.h"
#include "tests/ending.h"
#include "tests/support.h"

namespace tabulon {
namespace {

using testing::ElementsAre;
using testing::ExitedWithCode;

// Temporary files go to a directory of the test's own.
class TempFiles : public testing::Test {
 protected:
  TempFiles() {
    unsetenv("TMPDIR");  // goes before tempDir
  }
  TempDir dir_;
  TempPlace place_{dir_.path()};
};
using TempFilesDeathTest = TempFiles;
using SpoolFiles = TempFiles;

// The first directory that is one, then five bytes of identifier and name.
TEST_F(TempFiles, AreNamedByPlaceAndPurpose) {
  const std::string given = dir_.path();
  const std::string other = given + "/other";
  std::filesystem::create_directory(other);
  WriteFile(dir_ / "file", "");
  // clang-format off
  const struct {
    std::string environment; std::optional<std::string> option, id; const char* name;
    std::string made;
  } rows[] = {
      {other, given, "id", "tpage.tmp", other + "/id[.]tp"}, {"", given, "id", nullptr, given + "/id"},
      {other + "//", std::nullopt, std::nullopt, "tpage.tmp", other + "/tpage"},
      {given + "/none", given + "/", std::nullopt, nullptr, given + "/file"},
      {given + "/file", given, std::nullopt, "x", given + "/x"},
      {"", given + "/none", std::nullopt, "x", "/tmp/x"},
  };
  // clang-format on
  for (const auto& row : rows) {
    setenv("TMPDIR", row.environment.c_str(), 1);
    const TempPlace place(row.option, row.id);
    EXPECT_THAT(DefinedTempName(row.name), testing::MatchesRegex(row.made + "[a-zA-Z0-9]{6}"));
  }
  unsetenv("TMPDIR");
}

TEST_F(TempFiles, AreNewPrivateAndGone) {
  {
    TempFile file = TempFile::Create("x", 0600);
    TempFile other = TempFile::Create("x", 0640);
    struct stat status {};
    ASSERT_EQ(stat(file.path().c_str(), &status), 0);
    EXPECT_EQ(status.st_mode, mode_t{S_IFREG | 0600});
    TempFile moved = std::move(file);
    file = std::move(other);
    EXPECT_EQ(dir_.Entries().size(), 2U);
  }
  EXPECT_THAT(dir_.Entries(), ElementsAre());
}

TEST_F(TempFiles, NeverOpenWhatIsAlreadyThere) {
  WriteFile(dir_ / "victim", "precious");
  std::filesystem::create_symlink(dir_ / "victim", dir_ / "planted");
  for (const char* name : {"victim", "planted"}) {
    EXPECT_FALSE(TempFile::CreateExclusive(dir_ / name, 0600).valid());
    EXPECT_EQ(errno, EEXIST);
  }
  EXPECT_FALSE(TempFile::CreateNamed(dir_ / "planted", 0600).valid());
  EXPECT_EQ(ReadFile(dir_ / "victim"), "precious");
  EXPECT_THAT(dir_.Entries(), ElementsAre("planted", "victim"));
}

TEST_F(TempFiles, ReopenOnlyTheFileThatWasMade) {
  TempFile file = TempFile::Create("x");
  ASSERT_EQ(write(file.fd(), "abc", 3), 3);
  file.Close();
  EXPECT_FALSE(file.valid());
  ASSERT_TRUE(file.Reopen());
  file.Close();
  const std::string aside = dir_ / "aside";
  std::filesystem::rename(file.path(), aside);
  WriteFile(file.path(), "another");
  EXPECT_FALSE(file.Reopen());
  EXPECT_EQ(errno, ESTALE);
  std::filesystem::remove(file.path());
  std::filesystem::create_symlink(aside, file.path());
  EXPECT_FALSE(file.Reopen());
  EXPECT_EQ(errno, ELOOP);
}

TEST_F(TempFilesDeathTest, GoWithTheProcessUnlessKept) {
  const auto run = [&](void (*end)()) {
    // Owners that are not left.
    TempFile gone = TempFile::Create("gone"), lost = TempFile::Create("lost");
    TempFile kept = TempFile::CreateExclusive(dir_ / "kept");
    TempFile named = TempFile::CreateNamed(dir_ / "named");
    TempFile later = TempFile::CreateNamed(dir_ / "later");
    gone.Remove();
    kept.Keep();
    later.RemoveAtEnd();
    if (lost.valid() && kept.valid() && named.valid() && later.valid()) end();
  };
  const auto memory = [] { MemoryErrExit(nullptr); };
  static int signal = 0;
  const auto raised = [] {
    RemoveTempFilesOnSignals();
    raise(signal);
  };
  EXPECT_EXIT(run(memory), ExitedWithCode(1), "");
  EXPECT_THAT(dir_.Entries(), ElementsAre("kept", "named"));
  for (const int each : {SIGHUP, SIGTERM, SIGALRM, SIGUSR1, SIGUSR2}) {
    signal = each;
    std::filesystem::remove(dir_ / "kept");
    EXPECT_EXIT(run(raised), testing::KilledBySignal(each), "");
    EXPECT_THAT(dir_.Entries(), ElementsAre("kept", "named"));
  }
}

auto OpenDescriptors() {
  return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
}

// Records of any size may lie across the ends of the spool's buffers.
using Record = std::array<uint64_t, 3>;

void Fill(SpoolFile& spool, uint64_t count) {
  for (uint64_t i = 0; i < count; ++i) {
    const Record record{i, ~i, i * i};
    spool.Append(&record, sizeof record);
  }
}

TEST_F(SpoolFiles, GiveBackWhatWasAppended) {
  for (const uint64_t count : {0U, 1U, 682U, 683U, 5000U}) {
    SpoolFile spool;
    ASSERT_TRUE(spool.Create("spool"));
    Fill(spool, count);
    for (int pass = 0; pass < 2; ++pass) {
      spool.Rewind();
      Record record{};
      for (uint64_t i = 0; i < count; ++i) {
        ASSERT_TRUE(spool.Read(&record, sizeof record));
        ASSERT_EQ(record, (Record{i, ~i, i * i}));
      }
      EXPECT_FALSE(spool.Read(&record, sizeof record));
    }
    spool = SpoolFile();
    EXPECT_THAT(dir_.Entries(), ElementsAre());
  }
}

TEST_F(SpoolFiles, HoldADescriptorWhileReadAndBeforeWhereAsked) {
  for (const bool staysOpen : {false, true}) {
    const auto before = OpenDescriptors();
    SpoolFile spool;
    ASSERT_TRUE(spool.Create("spool"));
    if (staysOpen) spool.StayOpen();
    EXPECT_EQ(OpenDescriptors(), before);
    Fill(spool, 5000);
    EXPECT_EQ(OpenDescriptors(), before + (staysOpen ? 1 : 0));
    spool.Rewind();
    Record record{};
    while (spool.Read(&record, sizeof record)) EXPECT_EQ(OpenDescriptors(), before + 1);
    EXPECT_EQ(record[0], 4999U);
    EXPECT_EQ(OpenDescriptors(), before);
  }
}

TEST_F(SpoolFiles, WhatWasCutEndsTheRun) {
  SpoolFile spool;
  ASSERT_TRUE(spool.Create("spool"));
  Fill(spool, 2000);
  spool.Rewind();
  std::filesystem::resize_file(spool.path(), 31999);
  const auto read = [&] {
    for (Record record; spool.Read(&record, sizeof record);) continue;
  };
  EXPECT_ENDS(read(), 1,
              testing::MatchesRegex("Error reading '.*/spool.*'\n  \\(p5\\) Input/output error\n"));
}

// Entries of a text spool: four bytes of length, and a text, by which they are sorted.
struct ByText {
  static constexpr size_t kHead = sizeof(uint32_t);
  size_t Size(const char* entry) const {
    uint32_t length = 0;
    std::memcpy(&length, entry, sizeof length);
    return kHead + length;
  }
  std::string_view Text(const char* entry) const { return {entry + kHead, Size(entry) - kHead}; }
  bool Less(const char* a, const char* b) const { return Text(a) < Text(b); }
  uint64_t Rank(const char* entry) const {
    const std::string_view text = Text(entry);
    return text.empty() ? 0 : static_cast<unsigned char>(text[0]);
  }
};

// Small texts and such as are longer than what is read or written at a time, from two spools that
// hold little or everything.
TEST_F(SpoolFiles, SortTextsOfAnyLength) {
  std::mt19937 random(6);
  for (const size_t limit : {size_t{1}, size_t{3'000}, size_t{500'000}, size_t{1} << 24}) {
    TextSpool<ByText> spools[2] = {{limit, "texts"}, {limit / 2, "texts"}};
    std::vector<std::string> expected;
    for (size_t i = 0; i < 400; ++i) {
      const size_t length = i % 100 == 99 ? random() % 300'000 : random() % 300;
      std::string text(length, static_cast<char>('a' + random() % 26));
      text += std::to_string(random() % 1000);
      const auto size = static_cast<uint32_t>(text.size());
      spools[i % 2].Add(&size, sizeof size, text);
      expected.push_back(std::move(text));
      if (i == 300) spools[0].Merge(spools[1]);
    }
    spools[0].Merge(spools[1]);
    std::ranges::sort(expected);
    EXPECT_EQ(dir_.Entries().empty(), limit == size_t{1} << 24);
    spools[0].Finish();
    for (const std::string& text : expected) {
      const char* const next = spools[0].Next();
      ASSERT_NE(next, nullptr);
      ASSERT_EQ(ByText().Text(next), text);
    }
    EXPECT_EQ(spools[0].Next(), nullptr);
  }
  EXPECT_THAT(dir_.Entries(), ElementsAre());
}

}  // namespace
}  // namespace tabulon
