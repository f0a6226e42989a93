// Made-up scans are the same bytes everywhere.
#include <gmock/gmock.h>
#include <zlib.h>

#include <set>

#include "scanread.h"

namespace tabulon {
namespace {

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

TEST_P(Synth, DistinctFilesShareNoKey) {
  const RunResult run =
      RunMkdtl({"synth", "--kind", GetParam(), "--records", "3000", "--distinct", dir_ / "s.dtl"});
  ASSERT_EQ(run.status, 0) << run.err;
  std::set<std::string> extensions;
  std::set<std::pair<uint32_t, uint32_t>> owners;
  size_t files = 0;
  for (const RecordSpec& record : ReadScan(dir_ / "s.dtl").records) {
    if ((record.flags & kRecordDirectory) != 0) continue;
    ++files;
    extensions.insert(record.name.substr(record.name.rfind('.')));
    owners.insert({record.uid, record.gid});
  }
  EXPECT_GT(files, 2000U);
  EXPECT_EQ(extensions.size(), files);
  EXPECT_EQ(owners.size(), GetParam() == std::string("nfs") ? files : 1);
}

}  // namespace
}  // namespace tabulon
