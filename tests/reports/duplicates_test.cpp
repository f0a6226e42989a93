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
#include <tuple>
#include <vector>

#include "base/loganderr.h"
#include "btree/btree.h"
#include "config/reportsetup.h"
#include "config/settings.h"
#include "detail/detailfile.h"
#include "reports/capture.h"
#include "reports/dupfinder.h"
#include "reports/dupreport.h"
#include "reports/matchrecord.h"
#include "support.h"
#include "tools/dtlbuild.h"

namespace tabulon {
namespace {

constexpr uint32_t kNoon = 1700000000;

struct ModelGroup {
  uint64_t size = 0;
  std::string digest;
  std::vector<std::string> paths;  // in report order
  std::string heading;
};

// What the finder has to do, file by file.
class Model {
 public:
  Model(uint32_t fields, uint32_t runFiles) : fields_(fields), runFiles_(runFiles) {}

  void Add(const RecordSpec& file, const std::string& directory) {
    if (inRun_ == runFiles_) {
      ++run_;
      inRun_ = 0;
    }
    ++inRun_;
    auto& run = groups_[Digest(file)][run_];
    if (!run.empty()) {
      ++count;
      bytes += file.size;
    }
    run.push_back({directory + "\\" + file.name, file.size, Heading(file)});
  }

  std::vector<ModelGroup> Groups() const {
    std::vector<ModelGroup> result;
    for (const auto& [digest, runs] : groups_) {
      ModelGroup group;
      group.digest = digest;
      for (const auto& [number, files] : runs) {
        std::map<std::string, size_t> order;  // sequence bytes as stored
        for (uint32_t i = 0; i < files.size(); ++i) {
          order[std::string(reinterpret_cast<const char*>(&i), sizeof i)] = i;
        }
        for (const auto& [key, i] : order) {
          if (group.paths.empty()) group.heading = files[i].heading;
          group.paths.push_back(files[i].path);
          group.size = files[i].size;
        }
      }
      if (group.paths.size() > 1) result.push_back(std::move(group));
    }
    std::stable_sort(result.begin(), result.end(), [](const ModelGroup& a, const ModelGroup& b) {
      return std::tuple(a.size, a.paths.size()) > std::tuple(b.size, b.paths.size());
    });
    return result;
  }

  int32_t count = 0;
  uint64_t bytes = 0;

 private:
  struct File {
    std::string path;
    uint64_t size;
    std::string heading;
  };

  std::string Heading(const RecordSpec& file) const {
    std::string text = "Size: " + std::to_string(file.size);
    if ((fields_ & kDupMdate) != 0) text += "  Modified: " + std::to_string(file.modified);
    if ((fields_ & kDupCdate) != 0) text += "  Created: " + std::to_string(file.created);
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
    if ((fields_ & kDupMdate) != 0) append(file.modified);
    if ((fields_ & kDupCdate) != 0) append(file.created);
    if ((fields_ & kDupName) != 0) appendText(file.name);
    const size_t dot = file.name.rfind('.');
    if ((fields_ & kDupExtension) != 0 && dot != file.name.npos) appendText(file.name.substr(dot));
    unsigned char digest[MD5_DIGEST_LENGTH];
    MD5(reinterpret_cast<const unsigned char*>(buffer.data()), buffer.size(), digest);
    return {reinterpret_cast<const char*>(digest), sizeof digest};
  }

  uint32_t fields_;
  uint32_t runFiles_;
  uint32_t inRun_ = 0;
  int run_ = 0;
  std::map<std::string, std::map<int, std::vector<File>>> groups_;
};

class Duplicates : public testing::Test {
 protected:
  void SetUp() override {
    OpenLogErrFiles(0, nullptr, nullptr);
    setenv("TZ", "UTC", 1);
    tempDir = dir_.path();
  }
  void TearDown() override {
    reportList.clear();
    dupLimits = {};
    tempDir.reset();
    ResetSettings();
    ResetDetailFile();
  }

  // The report's text on a scan of these records.
  std::string Run(const ScanSpec& scan, uint32_t fields) {
    WriteDtl(dir_ / "scan.dtl", scan);
    uint32_t compressed = 0;
    VersionBlock version;
    dtlFile = OpenDtlFile((dir_ / "scan.dtl").c_str(), "rb", &compressed);
    LoadDetailFile("scan.dtl", false, false, version);
    Report& report = reportList.emplace_back();
    report.type = kReportDuplicates;
    report.title = L"Twins";
    report.dupFields = fields;
    InitializeReportEntry(report);
    dateFmt = L"%n";
    ScanReports();
    count_ = report.count;
    bytes_ = report.totalBytes;
    AttachToMemory(report.stream);
    DuplicateReport(report);
    return Written(report.stream);
  }

  TempDir dir_;
  int32_t count_ = 0;
  uint64_t bytes_ = 0;
};

std::string Expected(const std::vector<ModelGroup>& groups) {
  std::string text = "\n---- Twins ----\n\n";
  for (const ModelGroup& group : groups) {
    text += group.heading;
    for (const std::string& path : group.paths) text += "  /r" + path + "\n";
    text += "\n";
  }
  return text;
}

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
    RecordSpec file = FileRecord(names[random() % std::size(names)],
                                 {.attributes = 0100644,
                                  .created = kNoon + static_cast<uint32_t>(random() % 2),
                                  .modified = kNoon + static_cast<uint32_t>(random() % 2),
                                  .size = random() % 3 * 1000});
    model.Add(file, directory);
    scan.records.push_back(std::move(file));
  }
  return scan;
}

TEST_F(Duplicates, FindsWhatTheModelFinds) {
  std::mt19937 random(7);
  const uint32_t fieldSets[] = {kDupSize, kDupDefault, kDupName, kDupCdate | kDupExtension,
                                kDupName | kDupExtension | kDupMdate | kDupCdate | kDupSize};
  const DupLimits limits[] = {{},
                              {.runFiles = 5, .gathered = 3, .sorted = 2},
                              {.runFiles = 40, .gathered = 7, .sorted = 4}};
  for (const uint32_t fields : fieldSets) {
    for (const DupLimits& limit : limits) {
      SCOPED_TRACE(testing::Message() << "fields " << fields << ", run " << limit.runFiles);
      dupLimits = limit;
      reportList.clear();
      Model model(fields, limit.runFiles);
      // In a run's byte order of sequence numbers, 256 stands right behind 0.
      const ScanSpec scan = RandomScan(random, model, fields == kDupSize ? 700 : 200);
      EXPECT_EQ(Run(scan, fields), Expected(model.Groups()));
      EXPECT_EQ(count_, model.count);
      EXPECT_EQ(bytes_, model.bytes);
    }
  }
}

// A name that needs more than ASCII hashes by its text: its ASCII extension agrees with others'.
TEST_F(Duplicates, AsciiExtensionsAgreeWhateverTheName) {
  const ScanSpec scan{.rootPath = "/r",
                      .records = {DirectoryRecord("/d"),
                                  FileRecord("plain.txt", {.attributes = 0100644, .size = 5}),
                                  FileRecord("caf\xC3\xA9.txt", {.attributes = 0100644, .size = 5}),
                                  FileRecord("a.t\xC3\xA9", {.attributes = 0100644, .size = 5}),
                                  FileRecord("b.t\xC3\xA9", {.attributes = 0100644, .size = 5}),
                                  // Bit 0x10 of the mode counts as a directory: left out.
                                  FileRecord("c.txt", {.attributes = 0100664, .size = 5})}};
  Run(scan, kDupDefault);
  EXPECT_EQ(count_, 2);
}

// The comparison that ranks groups is no order by itself: for equal sizes, when the first group is
// not the larger one, only the offsets count.
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

// Groups are ranked in ascending order of their offsets, and then a tree with that comparison holds
// them in the plain order that the report uses.
TEST(DupGroupOrder, IsTheOrderOfATreeFilledByAscendingOffset) {
  std::mt19937 random(11);
  for (int round = 0; round < 50; ++round) {
    const TreeHandle tree = TreePlant({.fanOut = 4,
                                       .treeMemory = -5,
                                       .keysPerKeyNode = 8,
                                       .maxKeyBytes = 16,
                                       .keyMemory = 4096,
                                       .compare = DupSizeKeyCmp});
    std::vector<DupGroup> groups;
    for (uint32_t i = 0; i < 200; ++i) {
      const DupGroup group = {random() % 4, i, 2 + static_cast<uint32_t>(random() % 5), 0};
      const struct {
        uint64_t size;
        uint32_t count, offset;
      } key = {group.size, group.count, i * 56};
      ASSERT_TRUE(TreeAddKey(tree.get(), &key, sizeof key, nullptr));
      groups.push_back(group);
    }
    std::sort(groups.begin(), groups.end(), DupGroupOrder::Less);
    KeyRecord record = TreeLowKey(tree.get());
    for (const DupGroup& group : groups) {
      ASSERT_TRUE(record);
      EXPECT_EQ(LoadU32(record.key() + 12), group.first * 56);
      record = TreeNextKey(tree.get());
    }
    EXPECT_FALSE(record);
  }
}

// With -z the files of the finder stay: every run sorted and ended by its sentinel.
TEST_F(Duplicates, KeepsItsFilesWhenDebugging) {
  const TempDir work;
  const std::string before = std::filesystem::current_path();
  std::filesystem::current_path(work.path());
  dbgFlag = true;
  dupLimits.runFiles = 4;
  std::mt19937 random(3);
  Model model(kDupSize, 4);
  Run(RandomScan(random, model, 10), kDupSize);
  std::filesystem::current_path(before);
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
  for (const ModelGroup& group : model.Groups()) grouped += group.paths.size();
  EXPECT_EQ(ReadFile(work / "dupmerge.tmp").size(), grouped * 56);
}

}  // namespace
}  // namespace tabulon
