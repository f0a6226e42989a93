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

INSTANTIATE_TEST_SUITE_P(Kinds, Synth, testing::Values("nfs", "cifs"),
                         [](const auto& kind) { return std::string(kind.param); });

uint32_t Checksum(const std::string& bytes) {
  return static_cast<uint32_t>(
      crc32(0, reinterpret_cast<const Bytef*>(bytes.data()), static_cast<uInt>(bytes.size())));
}

// The checksums hold on every machine; a change of the generator changes them for good.
TEST_P(Synth, SameSeedGivesTheSameBytesEverywhere) {
  const std::map<std::string, uint32_t> known = {{"nfs", 211786761}, {"cifs", 3617513785}};
  const std::string first = ReadFile(Make(20000, 5));
  EXPECT_EQ(Checksum(first), known.at(GetParam()));
  EXPECT_TRUE(first == ReadFile(Make(20000, 5)));
  EXPECT_FALSE(first == ReadFile(Make(20000, 6)));
}

TEST_P(Synth, HasTheNumberOfRecordsThatWasAskedFor) {
  for (const uint32_t records : {1u, 2u, 41u}) {
    const ScanRead scan = ReadScan(Make(records, records));
    EXPECT_EQ(scan.records.size(), records);
    EXPECT_EQ(scan.root.directories + scan.root.files, records);
  }
}

size_t Characters(const std::string& name) {
  return static_cast<size_t>(
      std::count_if(name.begin(), name.end(), [](char byte) { return (byte & 0xC0) != 0x80; }));
}

std::string Lower(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(), ::tolower);
  return text;
}

TEST_P(Synth, TreeHoldsTogether) {
  const ScanRead scan = ReadScan(Make(20000, 3));
  const char separator = scan.isNfs() ? '/' : '\\';
  std::set<std::string> directories, names;
  ASSERT_EQ(scan.records.front().name, std::string(1, separator));
  for (const RecordSpec& record : scan.records) {
    EXPECT_GE(record.modified, kScanTime - kFiveYears);
    EXPECT_LE(record.modified, record.accessed);
    EXPECT_LE(record.accessed, kScanTime);
    EXPECT_GE(record.created, kScanTime - kFiveYears);
    if ((record.flags & kRecordDirectory) == 0) {
      EXPECT_TRUE(names.insert(Lower(record.name)).second) << "twice: " << record.name;
      continue;
    }
    names.clear();
    const size_t cut = record.name.rfind(separator);
    const std::string parent = record.name.substr(0, cut == 0 ? 1 : cut);
    EXPECT_TRUE(directories.empty() || directories.contains(parent)) << record.name;
    EXPECT_TRUE(directories.insert(record.name).second) << "twice: " << record.name;
  }
}

TEST_P(Synth, ShapeIsThatOfRealScans) {
  const ScanRead scan = ReadScan(Make(50000, 1));
  std::map<std::tuple<std::string, uint64_t, uint32_t>, uint32_t> contents;
  std::map<std::string, uint32_t> extensions;
  std::vector<uint64_t> sizes;
  uint32_t twoByte = 0, threeByte = 0, directoryLike = 0;
  for (const RecordSpec& record : scan.records) {
    if ((record.flags & kRecordDirectory) != 0) continue;
    const size_t length = Characters(record.name);
    EXPECT_TRUE(length >= 8 && length <= 40) << record.name;
    const size_t dot = record.name.rfind('.');
    const std::string extension = dot == std::string::npos ? "" : record.name.substr(dot);
    ++contents[{extension, record.size, record.modified}];
    ++extensions[extension];
    sizes.push_back(record.size);
    const auto has = [&](unsigned char low, unsigned char high) {
      return std::any_of(record.name.begin(), record.name.end(), [&](char c) {
        return static_cast<unsigned char>(c) >= low && static_cast<unsigned char>(c) <= high;
      });
    };
    twoByte += has(0xC0, 0xDF);
    threeByte += has(0xE0, 0xEF);
    directoryLike += scan.isNfs() && (record.attributes & kAttrAnyDirectory) != 0;
  }
  const double files = static_cast<double>(sizes.size());
  double shared = 0;
  for (const auto& [content, count] : contents) shared += count > 1 ? count : 0;
  EXPECT_NEAR(shared / files, 0.15, 0.02);
  EXPECT_NEAR(files / scan.root.directories, 20, 2);
  EXPECT_THAT(extensions.size(), testing::AllOf(testing::Gt(250u), testing::Lt(450u)));
  EXPECT_NEAR(extensions[".pdf"] / files, 0.14, 0.02);
  EXPECT_NEAR(twoByte / files, 0.005, 0.002);
  EXPECT_NEAR(threeByte / files, 0.005, 0.002);
  EXPECT_LE(directoryLike / files, 0.03);
  std::sort(sizes.begin(), sizes.end());
  EXPECT_NEAR(static_cast<double>(sizes[sizes.size() / 2]), 8192, 1000);
  EXPECT_GT(sizes.back(), uint64_t{50} << 20);
}

class SynthNfs : public Synth {};
class SynthCifs : public Synth {};
INSTANTIATE_TEST_SUITE_P(Kind, SynthNfs, testing::Values("nfs"));
INSTANTIATE_TEST_SUITE_P(Kind, SynthCifs, testing::Values("cifs"));

TEST_P(SynthNfs, OwnersHaveNames) {
  const std::string path = Make(50000, 1);
  const ScanRead scan = ReadScan(path);
  const auto users = ReadIds(ReadFile(path), scan.header.idSection, kIdUser);
  const auto groups = ReadIds(ReadFile(path), scan.header.idSection, kIdGroup);
  std::set<uint32_t> uids;
  for (const RecordSpec& record : scan.records) {
    uids.insert(record.uid);
    EXPECT_TRUE(users.contains(record.uid) && groups.contains(record.gid));
  }
  EXPECT_EQ(uids.size(), 50u);
  EXPECT_GT(scan.root.counts[kNfsSymlinks], 0u);
  EXPECT_GT(scan.root.counts[kNfsHardLinks], 0u);
}

TEST_P(SynthCifs, EveryKindOfRecordAndAccountOccurs) {
  const std::string path = Make(50000, 1);
  const std::string bytes = ReadFile(path);
  const ScanRead scan = ReadScan(path);
  uint32_t flags = 0;
  for (const RecordSpec& record : scan.records) flags |= record.flags;
  EXPECT_EQ(flags, kRecordNoOwner | kRecordNoGroup | kRecordOrphanOwner | kRecordOrphanInAcl |
                       kRecordHasStreams | kRecordOrphanGroup | kRecordSymlink | kRecordMountPoint |
                       kRecordJunction | kRecordDirectory);
  EXPECT_THAT(scan.root.counts, testing::Each(testing::Gt(0u)));
  const auto word = [&](size_t at) { return LoadU32(bytes.data() + at); };
  size_t at = scan.header.securitySection;
  for (int list = 0; list < 2; ++list) {  // descriptors, domains
    uint32_t count = word(at);
    for (at += 4; count > 0; --count) at += 4 + word(at);
  }
  std::map<int32_t, uint64_t> uses;
  uint64_t owned = 0;
  const uint32_t sids = word(at);
  at += 4;
  for (uint32_t i = 0; i < sids; ++i) {
    uses[static_cast<int32_t>(word(at + 12))] += word(at + 16);
    owned += word(at + 20);
    at += SidEntry::kSize + word(at) + word(at + 4);
  }
  EXPECT_EQ(at, bytes.size());
  EXPECT_EQ(uses.size(), 12u);
  for (const auto& [type, count] : uses) EXPECT_GT(count, 0u) << "type " << type;
  const auto ownerless = std::count_if(scan.records.begin(), scan.records.end(), [](const auto& r) {
    return (r.flags & kRecordNoOwner) != 0;
  });
  EXPECT_EQ(owned + static_cast<uint64_t>(ownerless), scan.records.size());
}

}  // namespace
}  // namespace tabulon
