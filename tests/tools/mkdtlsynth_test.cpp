// Made-up scans: the same bytes everywhere, and the shape of real scans.
#include <gmock/gmock.h>
#include <zlib.h>

#include <algorithm>
#include <set>
#include <tuple>

#include "scanread.h"

namespace tabulon {
namespace {

constexpr uint32_t kScanTime = 1735689600;
constexpr uint32_t kFiveYears = 5 * 365 * 86400;

class Synth : public testing::TestWithParam<const char*> {
 protected:
  std::string Make(uint32_t records, uint64_t seed) {
    const RunResult run =
        RunMkdtl({"synth", "--kind", GetParam(), "--records", std::to_string(records), "--seed",
                  std::to_string(seed), dir_ / "s.dtl"});
    EXPECT_EQ(run.status, 0) << run.err;
    return dir_ / "s.dtl";
  }

  TempDir dir_;
};

INSTANTIATE_TEST_SUITE_P(Kinds, Synth, testing::Values("nfs", "cifs"));

// The checksums hold on every machine; a change of the generator changes them for good.
TEST_P(Synth, SameSeedGivesTheSameBytesEverywhere) {
  const std::map<std::string, uint32_t> known = {{"nfs", 211786761}, {"cifs", 3617513785}};
  const std::string first = ReadFile(Make(20000, 5));
  EXPECT_EQ(crc32(0, reinterpret_cast<const Bytef*>(first.data()), static_cast<uInt>(first.size())),
            known.at(GetParam()));
  EXPECT_TRUE(first == ReadFile(Make(20000, 5)));
  EXPECT_FALSE(first == ReadFile(Make(20000, 6)));
  for (const uint32_t records : {1u, 2u, 41u}) {
    const ScanRead scan = ReadScan(Make(records, records));
    EXPECT_EQ(scan.records.size(), records);
    EXPECT_EQ(scan.root.directories + scan.root.files, records);
  }
}

std::string Lower(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(), ::tolower);
  return text;
}

TEST_P(Synth, TreeHoldsTogether) {
  const ScanRead scan = ReadScan(Make(20000, 3));
  const char separator = scan.isNfs() ? '/' : '\\';
  std::set<std::string> directories, names;
  for (const RecordSpec& record : scan.records) {
    EXPECT_GE(std::min(record.created, record.modified), kScanTime - kFiveYears);
    EXPECT_LE(record.modified, record.accessed);
    EXPECT_LE(record.accessed, kScanTime);
    if ((record.flags & kRecordDirectory) == 0) {
      EXPECT_TRUE(names.insert(Lower(record.name)).second) << "twice: " << record.name;
      continue;
    }
    names.clear();
    const size_t cut = record.name.rfind(separator);
    const std::string parent = record.name.substr(0, cut == 0 ? 1 : cut);
    EXPECT_TRUE(directories.empty() ? record.name == parent : directories.contains(parent));
    EXPECT_TRUE(directories.insert(record.name).second) << "twice: " << record.name;
  }
}

// What reports find in a real scan: extensions, duplicates, names beyond ASCII, every kind of
// record, owners with names, accounts of every type.
TEST_P(Synth, ShapeIsThatOfRealScans) {
  const std::string path = Make(50000, 1);
  const ScanRead scan = ReadScan(path);
  std::map<std::tuple<std::string, uint64_t, uint32_t>, uint32_t> contents;
  std::map<std::string, uint32_t> extensions;
  std::set<uint32_t> uids;
  std::vector<uint64_t> sizes;
  uint32_t beyondAscii = 0, flags = 0;
  for (const RecordSpec& record : scan.records) {
    flags |= record.flags;
    uids.insert(record.uid);
    if ((record.flags & kRecordDirectory) != 0) continue;
    const size_t dot = record.name.rfind('.');
    const std::string extension = dot == std::string::npos ? "" : record.name.substr(dot);
    ++contents[{extension, record.size, record.modified}];
    ++extensions[extension];
    sizes.push_back(record.size);
    beyondAscii += std::ranges::any_of(record.name, [](char c) { return (c & 0x80) != 0; });
  }
  const double files = static_cast<double>(sizes.size());
  double shared = 0;
  for (const auto& [content, count] : contents) shared += count > 1 ? count : 0;
  EXPECT_NEAR(shared / files, 0.15, 0.02);
  EXPECT_NEAR(files / scan.root.directories, 20, 2);
  EXPECT_NEAR(static_cast<double>(extensions.size()), 350, 100);
  EXPECT_NEAR(extensions[".pdf"] / files, 0.14, 0.02);
  EXPECT_NEAR(beyondAscii / files, 0.01, 0.004);
  std::ranges::nth_element(sizes, sizes.begin() + std::ssize(sizes) / 2);
  EXPECT_NEAR(static_cast<double>(sizes[sizes.size() / 2]), 8192, 1000);
  if (scan.isNfs()) {
    EXPECT_EQ(uids.size(), 50u);
    const auto users = ReadIds(ReadFile(path), scan.header.idSection, kIdUser);
    for (const uint32_t uid : uids) EXPECT_TRUE(users.contains(uid));
    EXPECT_TRUE(scan.root.counts[kNfsSymlinks] > 0 && scan.root.counts[kNfsHardLinks] > 0);
  } else {
    EXPECT_EQ(flags, kRecordNoOwner | kRecordNoGroup | kRecordOrphanOwner | kRecordOrphanInAcl |
                         kRecordHasStreams | kRecordOrphanGroup | kRecordSymlink |
                         kRecordMountPoint | kRecordJunction | kRecordDirectory);
    EXPECT_THAT(scan.root.counts, testing::Each(testing::Gt(0u)));
  }
}

}  // namespace
}  // namespace tabulon
