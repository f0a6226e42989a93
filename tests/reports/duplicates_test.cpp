// The duplicate finder against a model of what it has to find: a sorted set of (digest, sequence)
// keys that is dumped when a run is full, and a merge of the dumps.
#define OPENSSL_SUPPRESS_DEPRECATED
#include <gtest/gtest.h>
#include <openssl/md5.h>

#include <algorithm>
#include <clocale>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "base/sortedspool.h"
#include "detail/scandetail.h"
#include "reports/capture.h"
#include "reports/report.h"
#include "reports/reportkinds.h"
#include "reports/typetallies.h"
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
    std::vector<File>& files = groups[Digest(file)][added++ / runFiles];
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
      std::wstring wide;
      TakeUnits(text, wide);
      buffer.append(reinterpret_cast<const char*>(wide.data()), wide.size() * sizeof(wchar_t));
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
  uint32_t added = 0;
  std::map<std::string, std::map<uint32_t, std::vector<File>>> groups = {};  // by digest and run
  uint32_t count = 0;
  uint64_t bytes = 0;
};

class Duplicates : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_NE(std::setlocale(LC_ALL, "C.UTF-8"), nullptr);
    setenv("TZ", "UTC", 1);
    std::filesystem::current_path(dir_.path());  // the finder's files of -z go there
  }
  void TearDown() override { std::filesystem::current_path("/"); }

  // The report's text on a scan of these records.
  std::string Run(const ScanSpec& spec, uint32_t fields) {
    const Scan scan = OpenInMemory(BuildDtl(spec));
    ReportDefinition report;
    report.kind = &KindOf(kReportDuplicates);
    report.title = L"Twins";
    report.dupFields = fields;
    InitializeReportEntry(report, settings_, scan);
    settings_.dateFmt = L"%n";
    ReportRun run{scan, settings_};
    run.dupLimits = limits_;
    run.threads = threads_;
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
    counts_ = duplicates->counts();
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
  ReportCounts counts_;
};

// Files that share everything with some others and differ from the rest in one field each.
ScanSpec RandomScan(std::mt19937& random, Model& model, int files) {
  ScanSpec scan{.rootPath = "/r", .records = {DirectoryRecord("/d0")}};
  std::string directory = "/d0";
  const std::string names[] = {"a.txt",       "b.txt",       "plain",           ".rc",
                               "x.y.txt",     "end.",        "caf\xC3\xA9.txt", "a.t\xC3\xA9",
                               "eleven.text", "one more.txt"};
  for (int i = 0; i < files; ++i) {
    if (random() % 10 == 0) {
      directory = "/d" + std::to_string(i);
      scan.records.push_back(DirectoryRecord(directory));
    }
    const auto time = [&] { return 1700000000 + static_cast<uint32_t>(random() % 2); };
    RecordSpec file =
        FileRecord(names[random() % std::size(names)], {.created = time(), .modified = time()});
    file.size = random() % 3 * 1000;
    if (random() % 20 == 0) {
      file.attributes = 0100664;  // bit 0x10 counts as a directory: left out
    } else {
      model.Add(file, directory);
    }
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
        EXPECT_EQ(counts_.count, model.count);
        EXPECT_EQ(counts_.totalBytes, model.bytes);
      }
    }
  }
}

struct NumberOrder {
  static bool Less(uint64_t a, uint64_t b) { return a < b; }
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
  constexpr size_t kRecord = 56;
  settings_.dbgFlag = true;
  limits_.runFiles = 4;
  std::mt19937 random(3);
  Model model{kDupSize, 4};
  ScanSpec alone = RandomScan(random, model, 9);
  alone.records.push_back(FileRecord("alone", {.size = 7}));
  Run(alone, kDupSize);
  size_t grouped = 0;
  for (const auto& group : model.Groups()) grouped += group.size();
  EXPECT_EQ(ReadFile("dupmerge.tmp").size(), grouped * kRecord);
  size_t records = 0;
  for (const char* name : {"duptemp0.tmp", "duptemp1.tmp", "duptemp2.tmp"}) {
    const std::string bytes = ReadFile(name);
    std::vector<std::string> keys;
    for (size_t at = 0; at < bytes.size(); at += kRecord) keys.push_back(bytes.substr(at, 20));
    EXPECT_TRUE(std::ranges::is_sorted(keys));
    EXPECT_EQ(bytes.substr(bytes.size() - kRecord), std::string(kRecord, '\xFF'));
    records += keys.size() - 1;
  }
  EXPECT_EQ(records, model.added + 1);
}

}  // namespace
}  // namespace tabulon
