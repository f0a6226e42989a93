// However many threads share a scan, and wherever it is cut into blocks: the same bytes everywhere.
#include <gtest/gtest.h>

#include <unistd.h>

#include <atomic>
#include <random>
#include <thread>

#include "fuzz/samples.h"
#include "fuzz/sandbox.h"
#include "tests/support/dtlbuild.h"
#include "tests/support/openscan.h"

namespace tabulon {
namespace {

constexpr PassShare kAlone = {.threads = 1};

class SharedScan : public testing::Test {
 protected:
  // All that a run writes and makes.
  FileMap Run(const std::string& scan, std::vector<std::string> args, const PassShare& share) {
    box_.Clear();
    WriteFile(box_.dir() / "x.dtl", scan);
    WriteFile(box_.dir() / "c.cfg", config_);
    args.insert(args.end(), {"-dtl", "x.dtl"});
    box_.tuning = {{.runFiles = 500, .gathered = 100, .sorted = 100, .written = 50}, share};
    const Outcome run = box_.Run(args);
    EXPECT_EQ(run.signal, 0) << run.err;
    FileMap traces = box_.Files();
    traces["status"] = std::to_string(run.status);
    traces["standard output"] = run.out;
    traces["standard error"] = run.Told();
    return traces;
  }

  void ExpectSame(const std::string& scan, const std::vector<std::string>& args,
                  const std::vector<PassShare>& shares) {
    const FileMap alone = Run(scan, args, kAlone);
    for (const PassShare& share : shares) {
      EXPECT_EQ(Differences(Run(scan, args, share), alone), "")
          << share.threads << " threads, blocks of " << share.block;
    }
  }

  std::string config_;
  Sandbox box_;
  std::mt19937 random_{14};
};

// Records of every size that may lie across the end of a block, in directories with paths of any
// length: some longer than a block, some with more than is read with one.
RecordSpec RandomRecord(ScanKind kind, std::mt19937& random) {
  const auto up = [&](size_t below) { return random() % below; };
  const bool cifs = kind == ScanKind::kCifs;
  std::string name = std::string(1 + up(40), static_cast<char>('a' + up(26)));
  name += std::vector<std::string>{"", ".txt", ".TXT", ".\xC3\xA9t\xC3\xA9", ".tmp"}[up(5)];
  if (up(100) == 0) name += std::string(up(up(5) == 0 ? 60'000 : 5'000), 'x');
  RecordSpec record{.attributes = cifs ? 0 : 0100644U,
                    .created = 1'600'000'000,
                    .modified = static_cast<uint32_t>(1'690'000'000 + up(5) * 86'400),
                    .size = up(20) * 100,
                    .uid = static_cast<uint32_t>(up(30)),
                    .gid = static_cast<uint32_t>(up(5))};
  switch (up(30)) {
    case 0:
      return DirectoryRecord((cifs ? "\\" : "/") + std::string(up(2) == 0 ? "docs " : "") + name);
    case 1:
      return LinkRecord(name, std::string(up(9) == 0 ? up(60'000) : up(200), 't'), record);
    case 2: {
      std::vector<StreamSpec> streams(cifs ? up(up(9) == 0 ? 2'000 : 4) : 0);
      for (StreamSpec& stream : streams) stream = {":" + std::string(up(30), 's'), up(1'000)};
      return streams.empty() ? FileRecord(name, record)
                             : WithStreams(FileRecord(name, record), streams);
    }
    default:
      return FileRecord(name, record);
  }
}

std::string LargeScan(ScanKind kind, size_t records, std::mt19937& random) {
  const bool cifs = kind == ScanKind::kCifs;
  // clang-format off
  ScanSpec spec{.kind = kind, .revision = 8 | kRevisionSubdirCounts, .scanTime = 1'700'000'000,
                .flags = kHeaderQvaTagged, .rootPath = cifs ? "C:\\" : "/r", .tag = PaddedTag("tag")};
  // clang-format on
  while (spec.records.size() < records) spec.records.push_back(RandomRecord(kind, random));
  return BuildDtl(spec);
}

const std::vector<std::string> kConfigured = {"-cfg", "c.cfg", "-rdir", "r", "-cat", "all"};

TEST_F(SharedScan, WriteWhatOneWrites) {
  const std::vector<PassShare> shares = {{2, 4096}, {3, 4096}, {8, 4096}, {3, 100}, {2, 1 << 20}};
  for (const ScanKind kind : {ScanKind::kNfs, ScanKind::kCifs}) {
    const std::string scan = LargeScan(kind, 1'000, random_);
    config_ = SampleConfiguration(kind);
    ExpectSame(scan, kConfigured, shares);
    for (const char* const option : {"-p", "-qva", "-adsfull"}) {
      SCOPED_TRACE(option);
      std::vector<std::string> args = kConfigured;
      args.emplace_back(option);
      ExpectSame(scan, args, {{3, 4096}});
    }
    ExpectSame(scan, {"-qf", SampleQuery(kind), "-adsfull"}, shares);
    ExpectSame(scan, {"-q", "path matches ~docs~"}, shares);
    ExpectSame(CompressDtl(scan), {"-q", "size ge 0"}, {{3, 4096}});
    ExpectSame(CompressDtl(scan), kConfigured, {{3, 4096}});
    ExpectSame(scan.substr(0, scan.size() / 2), {"-p", "-q", "size ge 0"}, shares);
    ExpectSame(scan, {"-z", "-cfg", "c.cfg", "-rdir", "r"}, {{3, 4096}});
  }
}

TEST_F(SharedScan, CutLargeScansIntoBlocksOfAMebibyte) {
  const std::string scan = LargeScan(ScanKind::kNfs, 16'000, random_);
  ASSERT_GT(scan.size(), size_t{3} << 20);
  config_ = SampleConfiguration(ScanKind::kNfs);
  ExpectSame(scan, kConfigured, {{3, PassShare().block}});
}

// A scan that is still being copied: threads that look at its size one after the other see others.
TEST(GrowingScan, IsReadToSomeEnd) {
  DtlMap map;
  const std::string bytes = BuildDtl({.records = {FileRecord("a")}}, &map);
  constexpr size_t kBlock = 4096, kThreads = 8;
  for (int i = 0; i < 200; ++i) {
    Scan scan = OpenInMemory(bytes.substr(0, map.recordsEnd));
    std::atomic<uint64_t> taken = 0;
    const std::vector<BatchSink> sinks(kThreads, [&](Pass& pass) { taken += pass.batch.size(); });
    std::jthread grow([&](const std::stop_token& over) {
      for (off_t size = 0; size < 1'000 * off_t{kBlock} && !over.stop_requested();) {
        ftruncate(scan.dtlFile.get(), size += 2 * kBlock);
      }
    });
    const PassEnd end = ScanDetail(scan, sinks, {.block = kBlock});
    EXPECT_EQ(end.records, taken);
    EXPECT_FALSE(end.atEndMarker);
  }
}

TEST_F(SharedScan, RunTheExamplesAsOneDoes) {
  for (const ScanKind kind : {ScanKind::kNfs, ScanKind::kCifs}) {
    const std::string scan = LargeScan(kind, 1'000, random_);
    for (const auto& example : std::filesystem::directory_iterator(SOURCE_DIR "/examples")) {
      if (example.is_directory()) continue;
      SCOPED_TRACE(example.path());
      config_ = ReadFile(example.path());
      ExpectSame(scan, kConfigured, {{3, 4096}});
    }
  }
}

// Lengths, counts and marks that lie lead every thread to the same places.
TEST_F(SharedScan, SurviveDamageAsOneDoes) {
  for (const Sample& sample : Samples()) {
    config_ = SampleConfiguration(sample.kind);
    for (uint64_t i = 0; i < 500; i += SweepStep(500, 12)) {
      const Field& field = sample.fields[random_() % sample.fields.size()];
      const uint32_t values[] = {0, 1, 0x7FFF, 0xFFFFFFFF, 0x80000000, 700, 3'000};
      const uint32_t value = values[random_() % std::size(values)];
      SCOPED_TRACE(sample.name + ", " + std::to_string(field.at) + " = " + std::to_string(value));
      ExpectSame(WithField(sample.bytes, field, value), kConfigured, {{3, 512}});
    }
  }
}

}  // namespace
}  // namespace tabulon
