// The duplicate finder against a model of what it has to find: a sorted set of (digest, sequence)
// keys that is dumped when a run is full, and a merge of the dumps.
#define OPENSSL_SUPPRESS_DEPRECATED
#include <gtest/gtest.h>
#include <openssl/md5.h>

#include <algorithm>
#include <cstring>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "base/bytes.h"
#include "base/loganderr.h"
#include "base/sortedspool.h"
#include "btree/btree.h"
#include "detail/scandetail.h"
#include "query/parsequery.h"
#include "reports/capture.h"
#include "reports/dupgroups.h"
#include "reports/dupkey.h"
#include "reports/report.h"
#include "reports/reportkinds.h"
#include "support.h"
#include "tests/support/dtlbuild.h"
#include "tests/support/openscan.h"

namespace tabulon {
namespace {

// What the finder has to do, file by file.
struct Model {
  struct File {
    std::string path, heading;
    uint64_t size;
  };

  void Add(const RecordSpec& file, const std::string& directory) {
    if (inRun == runFiles) {
      ++run;
      inRun = 0;
    }
    ++inRun;
    std::vector<File>& files = groups[Digest(file)][run];
    if (!files.empty()) {
      ++count;
      bytes += file.size;
    }
    files.push_back({directory + "\\" + file.name, Heading(file), file.size});
  }

  // The groups and the files of each, in report order.
  std::vector<std::vector<File>> Groups() const {
    std::vector<std::vector<File>> result;
    for (const auto& [digest, runs] : groups) {
      std::vector<File> group;
      for (const auto& [number, files] : runs) {
        std::map<std::string, File> order;  // by the sequence's bytes as stored
        for (uint32_t i = 0; i < files.size(); ++i) {
          order[std::string(reinterpret_cast<const char*>(&i), sizeof i)] = files[i];
        }
        for (const auto& [sequence, file] : order) group.push_back(file);
      }
      if (group.size() > 1) result.push_back(std::move(group));
    }
    std::stable_sort(result.begin(), result.end(), [](const auto& a, const auto& b) {
      return std::pair(a[0].size, a.size()) > std::pair(b[0].size, b.size());
    });
    return result;
  }

  std::string Text() const {
    std::string text = "\n---- Twins ----\n\n";
    for (const std::vector<File>& group : Groups()) {
      text += group[0].heading;
      for (const File& file : group) text += "  /r" + file.path + "\n";
      text += "\n";
    }
    return text;
  }

  std::string Heading(const RecordSpec& file) const {
    std::string text = "Size: " + std::to_string(file.size);
    if ((fields & kDupMdate) != 0) text += "  Modified: " + std::to_string(file.modified);
    if ((fields & kDupCdate) != 0) text += "  Created: " + std::to_string(file.created);
    return text + "\n";
  }

  std::string Digest(const RecordSpec& file) const {
    std::string buffer;
    const auto append = [&](uint64_t value) {
      buffer.append(reinterpret_cast<const char*>(&value), sizeof value);
    };
    const auto appendText = [&](const std::string& text) {
      for (const char c : text) buffer.append({c, '\0', '\0', '\0'});
    };
    append(file.size);
    if ((fields & kDupMdate) != 0) append(file.modified);
    if ((fields & kDupCdate) != 0) append(file.created);
    if ((fields & kDupName) != 0) appendText(file.name);
    const size_t dot = file.name.rfind('.');
    if ((fields & kDupExtension) != 0 && dot != file.name.npos) appendText(file.name.substr(dot));
    unsigned char digest[MD5_DIGEST_LENGTH];
    MD5(reinterpret_cast<const unsigned char*>(buffer.data()), buffer.size(), digest);
    return {reinterpret_cast<const char*>(digest), sizeof digest};
  }

  uint32_t fields, runFiles;
  uint32_t inRun = 0;
  int run = 0;
  std::map<std::string, std::map<int, std::vector<File>>> groups = {};
  int32_t count = 0;
  uint64_t bytes = 0;
};

class Duplicates : public testing::Test {
 protected:
  void SetUp() override { setenv("TZ", "UTC", 1); }

  ReportDefinition& AddReport(uint32_t fields) {
    ReportDefinition& report = reports_.emplace_back();
    report.kind = &KindOf(kReportDuplicates);
    report.title = L"Twins";
    report.dupFields = fields;
    return report;
  }
  void ScanReports(ReportSet& set, const Scan& scan) {
    ScanDetail(
        scan, [&](Pass& pass) { set.Add(pass); }, PassOptionsOf(settings_));
    set.Finish();
  }
  // The report's text on a scan of these records.
  std::string Run(const ScanSpec& spec, uint32_t fields) {
    const Scan scan = OpenInMemory(BuildDtl(spec));
    reports_.clear();
    ReportDefinition& report = AddReport(fields);
    InitializeReportEntry(report, settings_, scan);
    settings_.dateFmt = L"%n";
    ReportRun run{.scan = scan,
                  .settings = settings_,
                  .dupLimits = limits_,
                  .keptFiles = kept_,
                  .threads = threads_};
    const auto duplicates = report.kind->make(report, run);
    std::vector<std::unique_ptr<ReportAccumulator>> parts;
    while (parts.size() + 1 < threads_) parts.push_back(duplicates->NewPart());
    PassOptions options = PassOptionsOf(settings_);
    if (threads_ > 1) options.most = 7;
    ScanDetail(
        scan,
        [&](Pass& pass) {
          const size_t to = turns_() % threads_;
          (to == 0 ? *duplicates : *parts[to - 1]).Add(pass);
        },
        options);
    for (; !parts.empty(); parts.pop_back()) duplicates->Merge(*parts.back());
    duplicates->Finish();
    kept_ = run.keptFiles;
    count_ = duplicates->counts().count;
    bytes_ = duplicates->counts().totalBytes;
    AttachToMemory(report.file.stream);
    ReportOutput output(report, settings_);
    duplicates->Write(output);
    return Written(report.file.stream);
  }

  TempDir dir_;
  TempPlace place_{dir_.path()};
  Settings settings_;
  DupLimits limits_;
  size_t threads_ = 1;
  std::mt19937 turns_{5};  // which thread's part takes the next batch
  std::list<ReportDefinition> reports_;
  int kept_ = 0;
  int32_t count_ = 0;
  uint64_t bytes_ = 0;
};

// Files that share everything with some others and differ from the rest in one field each.
ScanSpec RandomScan(std::mt19937& random, Model& model, int files) {
  ScanSpec scan{.rootPath = "/r", .records = {DirectoryRecord("/d0")}};
  std::string directory = "/d0";
  const std::string names[] = {"a.txt", "b.txt", "a.doc", "plain", ".rc", "x.y.txt", "end."};
  for (int i = 0; i < files; ++i) {
    if (random() % 10 == 0) {
      directory = "/d" + std::to_string(i);
      scan.records.push_back(DirectoryRecord(directory));
    }
    const auto time = [&] { return 1700000000 + static_cast<uint32_t>(random() % 2); };
    RecordSpec file =
        FileRecord(names[random() % std::size(names)], {.created = time(), .modified = time()});
    file.size = random() % 3 * 1000;
    model.Add(file, directory);
    scan.records.push_back(std::move(file));
  }
  return scan;
}

TEST_F(Duplicates, FindsWhatTheModelFinds) {
  std::mt19937 random(7);
  const uint32_t fieldSets[] = {kDupSize, kDupDefault, kDupName, kDupCdate | kDupExtension,
                                kDupName | kDupExtension | kDupMdate | kDupCdate | kDupSize};
  const DupLimits limits[] = {
      {},
      {.runFiles = 5, .gathered = 3, .sorted = 2, .written = 3, .partition = 20, .rangeBits = 12},
      {.runFiles = 40, .gathered = 7, .sorted = 4, .written = 1, .partition = 1, .rangeBits = 9}};
  for (const uint32_t fields : fieldSets) {
    for (const DupLimits& limit : limits) {
      SCOPED_TRACE(testing::Message() << "fields " << fields << ", run " << limit.runFiles);
      limits_ = limit;
      Model model{fields, limit.runFiles};
      // In a run's byte order of sequence numbers, 256 stands right behind 0.
      const ScanSpec scan = RandomScan(random, model, fields == kDupSize ? 1000 : 200);
      for (const size_t threads : {1, 2, 3, 8}) {
        threads_ = threads;
        ASSERT_EQ(Run(scan, fields), model.Text()) << threads << " threads";
        EXPECT_EQ(count_, model.count);
        EXPECT_EQ(bytes_, model.bytes);
      }
    }
  }
}

// A name that needs more than ASCII hashes by its text: its ASCII extension agrees with others'.
TEST_F(Duplicates, AsciiExtensionsAgreeWhateverTheName) {
  ScanSpec scan{.records = {DirectoryRecord("/d")}};
  for (const char* name : {"plain.txt", "caf\xC3\xA9.txt", "a.t\xC3\xA9", "b.t\xC3\xA9"}) {
    scan.records.push_back(FileRecord(name, {.size = 5}));
  }
  // Bit 0x10 of the mode counts as a directory: left out.
  scan.records.push_back(FileRecord("c.txt", {.attributes = 0100664, .size = 5}));
  Run(scan, kDupDefault);
  EXPECT_EQ(count_, 2);
}

// Messages of every length, in lanes of their own, against the library.
TEST(Md5Lanes, DigestsWhatTheLibraryDigests) {
  Md5Lanes lanes;
  std::mt19937 random(13);
  std::vector<std::vector<unsigned char>> messages;
  for (size_t length = 0; length <= Md5Lanes::kLongest; ++length) {
    messages.emplace_back(length);
    for (unsigned char& byte : messages.back()) byte = static_cast<unsigned char>(random());
    lanes.Set(length % Md5Lanes::kLanes, messages.back());
    if (messages.size() % Md5Lanes::kLanes != 0) continue;
    const auto digests = lanes.Compute();
    for (size_t i = 0; i < Md5Lanes::kLanes; ++i) {
      EXPECT_EQ(digests[i], Md5(messages[messages.size() - Md5Lanes::kLanes + i])) << length;
    }
  }
}

// The comparison that ranks groups is no order by itself: of groups with files of one size, when
// the first is not the larger group, only the offsets count.
int DupSizeKeyCmp(const void* a, uint32_t, const void* b, uint32_t) {
  struct Key {
    uint64_t size;
    int32_t count;
    uint32_t offset;
  } x, y;
  std::memcpy(&x, a, sizeof x);
  std::memcpy(&y, b, sizeof y);
  if (x.size != y.size) return x.size > y.size ? -1 : 1;
  if (x.count > y.count) return -1;
  return static_cast<int>(x.offset) - static_cast<int>(y.offset);
}

// A tree with that comparison, filled by ascending offset, holds the plain order of the report.
TEST(DupGroupOrder, IsTheOrderOfATreeFilledByAscendingOffset) {
  std::mt19937 random(11);
  for (int round = 0; round < 50; ++round) {
    TreeSettings settings{.fanOut = 4, .keysPerKeyNode = 8, .maxKeyBytes = 16};
    settings.compare = DupSizeKeyCmp;
    const TreeHandle tree = TreePlant(settings);
    std::vector<DupGroup> groups;
    for (uint32_t i = 0; i < 200; ++i) {
      groups.push_back({random() % 4, i, 2 + static_cast<uint32_t>(random() % 5), 0, 0, 0});
      const uint64_t key[] = {groups[i].size, uint64_t{i} << 32 | groups[i].count};
      ASSERT_TRUE(TreeAddKey(tree.get(), key, sizeof key, nullptr));
    }
    std::ranges::sort(groups, DupGroupOrder::Less);
    KeyRecord record = TreeLowKey(tree.get());
    for (size_t i = 0; i < groups.size(); ++i, record = TreeNextKey(tree.get())) {
      ASSERT_TRUE(record);
      EXPECT_EQ(LoadU32(record.key() + 12), groups[i].first);
    }
  }
}

struct NumberOrder {
  static bool Less(uint64_t a, uint64_t b) { return a < b; }
  static uint32_t Bucket(uint64_t) { return 0; }
};

// Runs longer than the block that is read of each at a time (64 KiB).
TEST_F(Duplicates, RunsOfSeveralBlocksAreMerged) {
  SortedSpool<uint64_t, NumberOrder> spool(20'000, "runs");
  for (uint64_t i = 0; i < 50'000; ++i) spool.Add(i * 7919 % 50'000);
  spool.Finish();
  uint64_t number = 0;
  for (uint64_t i = 0; i < 50'000; ++i) ASSERT_TRUE(spool.Next(number) && number == i) << i;
  EXPECT_FALSE(spool.Next(number));
}

// With -z the files of the finder stay: every run sorted and ended by its sentinel.
TEST_F(Duplicates, KeepsItsFilesWhenDebugging) {
  const TempDir work;
  const std::string before = std::filesystem::current_path();
  std::filesystem::current_path(work.path());
  settings_.dbgFlag = true;
  limits_.runFiles = 4;
  std::mt19937 random(3);
  Model model{kDupSize, 4};
  ScanSpec alone = RandomScan(random, model, 9);
  alone.records.push_back(FileRecord("alone", {.size = 7}));
  Run(alone, kDupSize);

  const size_t merged = ReadFile("dupmerge.tmp").size();
  // Two reports fill theirs one after the other, between the marks of -p, and end with the scan in
  // their own order.
  ScanSpec spec{.records = {DirectoryRecord("/")}};
  spec.records.resize(501, FileRecord("a", {.size = 1}));
  spec.records.resize(1501, FileRecord("b", {.size = 2}));
  const Scan scan = OpenInMemory(BuildDtl(spec));
  reports_.clear();
  AddReport(kDupSize).filter = ParseQuery(L"size eq 2", scan, Classes());
  AddReport(kDupSize);
  for (ReportDefinition& report : reports_) InitializeReportEntry(report, settings_, scan);
  settings_.progressFlag = true;
  ReportRun run{.scan = scan, .settings = settings_, .keptFiles = kept_};
  run.dupLimits.runFiles = 600;
  ReportSet set(reports_, run);
  Console().Flush();
  testing::internal::CaptureStdout();
  ScanReports(set, scan);
  Console().Flush();
  const auto told = [](const char* number) {
    return std::string("new dup temp file: duptemp") + number + ".tmp\n";
  };
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            told("3") + "*" + told("4") + told("5") + told("6") + told("7"));
  std::filesystem::current_path(before);
  const std::pair<const char*, size_t> filled[] = {{"duptemp3.tmp", 600},
                                                   {"duptemp4.tmp", 600},
                                                   {"duptemp5.tmp", 600},
                                                   {"duptemp6.tmp", 400},
                                                   {"duptemp7.tmp", 300}};
  for (const auto& [name, files] : filled) {
    EXPECT_EQ(ReadFile(work / name).size(), (files + 1) * 56) << name;
  }
  size_t records = 0;
  for (const char* name : {"duptemp0.tmp", "duptemp1.tmp", "duptemp2.tmp"}) {
    const std::string bytes = ReadFile(work / name);
    std::vector<std::string> keys;
    for (size_t at = 0; at < bytes.size(); at += 56) keys.push_back(bytes.substr(at, 20));
    EXPECT_TRUE(std::is_sorted(keys.begin(), keys.end()));
    EXPECT_EQ(bytes.substr(bytes.size() - 56), std::string(56, '\xFF'));
    records += keys.size() - 1;
  }
  EXPECT_EQ(records, 10U);
  size_t grouped = 0;
  for (const auto& group : model.Groups()) grouped += group.size();
  EXPECT_EQ(merged, grouped * 56);
}

}  // namespace
}  // namespace tabulon
