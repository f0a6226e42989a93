#include <algorithm>
#include <atomic>
#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "tools/common/figures.h"
#include "tools/common/progress.h"
#include "tools/mkdtl/commands.h"
#include "tools/mkdtl/content.h"
#include "tools/mkdtl/names.h"
#include "tools/mkdtl/output.h"
#include "tools/mkdtl/random.h"
#include "tools/mkdtl/security.h"

namespace tabulon {
namespace {

constexpr uint32_t kOwners = 50;
constexpr uint32_t kFirstUid = 1000;
constexpr uint32_t kGroups = 20;
constexpr uint32_t kFirstGid = 100;
constexpr uint32_t kMostFiles = 40;  // in one directory; the mean is half of it
constexpr size_t kDeepest = 9;
constexpr uint64_t kDirectorySize = 4096;

constexpr uint32_t kSymbolicLink = 0120000;  // type bits of POSIX modes
constexpr uint32_t kRegularFile = 0100000;

// A choice among values, each as many times in a thousand as its row says.
struct Share {
  uint32_t perMille;
  uint32_t value;
};

template <size_t N>
uint32_t DrawShare(Random& random, const Share (&shares)[N]) {
  uint32_t draw = random.Below(1000);
  for (const Share& share : shares) {
    if (draw < share.perMille) return share.value;
    draw -= share.perMille;
  }
  return shares[0].value;
}

// Few files may be written by their group: a detail file's reader takes that mode bit for the mark
// of a directory.
constexpr Share kFileModes[] = {{700, 0644}, {120, 0755}, {90, 0600}, {60, 0444},
                                {20, 0664},  {8, 0700},   {2, 04755}};
constexpr Share kDirectoryModes[] = {{700, 0755}, {200, 0775}, {100, 0700}};

constexpr uint32_t kNotIndexed = 0x2000;
constexpr uint32_t kReparse = 0x400;
constexpr Share kFileAttributes[] = {{850, kAttrArchive},
                                     {50, kAttrArchive | kAttrReadOnly},
                                     {30, kAttrArchive | kAttrCompressed},
                                     {20, kAttrArchive | kAttrHidden},
                                     {20, kAttrArchive | kNotIndexed},
                                     {15, kAttrArchive | kAttrOffline},
                                     {10, kAttrArchive | kAttrEncrypted},
                                     {5, kAttrHidden | kAttrSystem}};
constexpr Share kDirectoryAttributes[] = {{940, kAttrDirectory},
                                          {30, kAttrDirectory | kAttrHidden},
                                          {30, kAttrDirectory | kAttrCompressed}};

// Directory paths in the order of a walk from the top: a directory comes before what it holds.
class PathMaker {
 public:
  PathMaker(const NameMaker& names, char separator) : names_(names), path_(1, separator) {}

  const std::string& path() const { return path_; }

  // Goes to the next directory: below the current one or below one on the way back up.
  void Advance(Random& random) {
    const auto deepest = static_cast<uint32_t>(std::min(lengths_.size(), kDeepest - 1));
    const uint32_t parent = deepest - random.Skewed(deepest + 1);
    if (parent < lengths_.size()) {
      path_.resize(lengths_[parent]);
      lengths_.resize(parent);
    }
    lengths_.push_back(path_.size());
    names_.DirectoryName(random, ++made_, name_);
    if (path_.size() > 1) path_ += path_[0];
    path_ += name_;
  }

 private:
  const NameMaker& names_;
  std::string path_;
  std::string name_;
  std::vector<size_t> lengths_;  // of the paths of the directories above the current one
  uint32_t made_ = 0;
};

// Makes the records of one scan, one after the other.
class SynthScan {
 public:
  SynthScan(const SynthOptions& options, DtlWriter& writer)
      : writer_(writer),
        random_(options.seed),
        isNfs_(options.kind == ScanKind::kNfs),
        distinct_(options.distinct),
        records_(options.records),
        remaining_(options.records),
        paths_(names_, isNfs_ ? '/' : '\\'),
        contents_(names_, options.records) {
    if (!isNfs_) security_.emplace(random_);
  }

  // `made` counts the records; other threads may read it meanwhile.
  void Run(std::atomic<uint64_t>& made) {
    AddDirectory();
    while (remaining_ > 0 && writer_.good()) {
      made.store(records_ - remaining_, std::memory_order_relaxed);
      paths_.Advance(random_);
      AddDirectory();
    }
    Finish();
  }

 private:
  // The current directory and its files, as far as records remain.
  void AddDirectory() {
    record_ = RecordSpec{.flags = kRecordDirectory, .size = kDirectorySize};
    record_.name = paths_.path();
    contents_.StartDirectory(random_);
    SetTimes(random_.Between(kSynthOldest, kSynthScanTime - 1));
    SetOwner();
    if (isNfs_) {
      record_.attributes = kModeDirectory | DrawShare(random_, kDirectoryModes);
      record_.links = 2;
    } else {
      record_.attributes = DrawShare(random_, kDirectoryAttributes);
      record_.size = 0;
    }
    Add();
    const uint32_t files = std::min(random_.Below(kMostFiles + 1), remaining_);
    for (uint32_t number = 0; number < files; ++number) AddFile(number);
  }

  void AddFile(uint32_t number) {
    const FileContent content = contents_.Draw(random_, remaining_);
    record_.flags = 0;
    record_.links = random_.PerMille(10) ? random_.Between(2, 4) : 1;
    record_.size = content.size;
    record_.target.clear();
    record_.streams.clear();
    names_.FileName(random_, content.extension, number, record_.name);
    SetTimes(content.modified);
    SetOwner();
    if (isNfs_) {
      MakeNfsFile();
    } else {
      MakeCifsFile(number);
    }
    if (distinct_) SetApart();
    Add();
  }

  // Gives the file keys that no other has.
  void SetApart() {
    ++filesApart_;
    record_.name += ".x" + std::to_string(filesApart_);
    if (isNfs_) record_.uid = record_.gid = filesApart_;
  }

  void Add() {
    writer_.Add(record_);
    --remaining_;
  }

  void MakeNfsFile() {
    record_.attributes = kRegularFile | DrawShare(random_, kFileModes);
    if (random_.PerMille(5)) {
      record_.flags |= kRecordSymlink;
      record_.attributes = kSymbolicLink | 0777;
      record_.target = "../" + record_.name;
      record_.size = record_.target.size();
      record_.links = 1;
    } else if (random_.PerMille(1)) {
      record_.flags |= kRecordNfsStub;
    }
  }

  void MakeCifsFile(uint32_t number) {
    record_.attributes = DrawShare(random_, kFileAttributes);
    if (random_.PerMille(2)) names_.ShortName(random_, number, record_.name);
    if (random_.PerMille(15)) AddStreams();
    if (random_.PerMille(6)) LeadElsewhere();
  }

  void AddStreams() {
    record_.flags |= kRecordHasStreams;
    record_.streams.push_back({":Zone.Identifier:$DATA", 26});
    if (random_.PerMille(300)) {
      const StreamSpec summary{":SummaryInformation:$DATA", random_.Between(100, 9000)};
      record_.streams.push_back(summary);
    }
  }

  // Makes the record a link to a file or directory, a junction or a mount point.
  void LeadElsewhere() {
    struct Kind {
      uint32_t flag, attributes;
      const char* target;
    };
    constexpr Kind kKinds[] = {
        {kRecordSymlink, kReparse | kAttrArchive, "..\\shared\\"},
        {kRecordSymlink, kReparse | kAttrDirectory, "..\\"},
        {kRecordJunction, kReparse | kAttrDirectory, "E:\\Projects\\"},
        {kRecordMountPoint, kReparse | kAttrDirectory, "\\\\?\\Volume{5e1f}\\"}};
    const Kind& kind = Pick(random_, kKinds);
    record_.flags = (record_.flags & ~kRecordHasStreams) | kind.flag;
    record_.attributes = kind.attributes;
    record_.target = kind.target + record_.name;
    record_.size = 0;
    record_.links = 1;
    record_.streams.clear();
  }

  // Windows tells when a file was made, NFS when its status changed last.
  void SetTimes(uint32_t modified) {
    record_.modified = modified;
    record_.accessed = random_.Between(modified, kSynthScanTime);
    record_.created = isNfs_ ? random_.Between(modified, record_.accessed)
                             : random_.Between(kSynthOldest, modified);
  }

  void SetOwner() {
    if (isNfs_) {
      record_.uid = kFirstUid + random_.Skewed(kOwners);
      record_.gid = kFirstGid + random_.Skewed(kGroups);
      record_.inode = ++inode_;
    } else {
      record_.flags |= security_->Draw(random_);
    }
  }

  void Finish() {
    ScanSpec& spec = writer_.spec();
    if (security_) return security_->Finish(spec);
    for (uint32_t i = 0; i < kOwners; ++i) {
      spec.ids.push_back({kFirstUid + i, kIdUser, 0, UserName(i)});
    }
    for (uint32_t i = 0; i < kGroups; ++i) {
      spec.ids.push_back({kFirstGid + i, kIdGroup, 0, GroupName(i)});
    }
  }

  DtlWriter& writer_;
  Random random_;
  bool isNfs_;
  bool distinct_;  // each file has keys of its own
  uint32_t records_;
  uint32_t remaining_;
  NameMaker names_;
  PathMaker paths_;
  ContentMaker contents_;
  std::optional<SecurityMaker> security_;
  uint32_t inode_ = 1;
  uint32_t filesApart_ = 0;
  RecordSpec record_;
};

ScanSpec DescribeSynth(ScanKind kind) {
  ScanSpec spec{.kind = kind,
                .scanTime = kSynthScanTime,
                .server = "nfs01",
                .rootPath = "/export/projects",
                .share = "nfs01:/export/projects",
                .version = {"1.0", "synthetic", "synthetic"},
                .availableSpace = uint64_t{3} << 40,
                .volumeCapacity = uint64_t{10} << 40};
  if (kind == ScanKind::kCifs) {
    spec.server = "FILER01";
    spec.rootPath = "E:\\Projects";
    spec.share = "\\\\FILER01\\Projects";
  }
  return spec;
}

}  // namespace

int RunSynth(const SynthOptions& options) {
  ScanOutput output(options.output);
  if (!output.Open()) return kExitFailed;
  DtlWriter writer(output.sink(), DescribeSynth(options.kind));
  std::atomic<uint64_t> made = 0;
  ProgressLine line([&](std::chrono::duration<double> elapsed) {
    const std::string left = RemainingText(made, options.records, elapsed);
    return Grouped(made) + " of " + Grouped(options.records) + " records" +
           (left.empty() ? "" : ", " + left);
  });
  SynthScan(options, writer).Run(made);
  line.Stop();
  if (!output.Finish(writer)) return kExitFailed;
  output.TellResult(writer, "");
  return kExitDone;
}

bool WriteSynth(const SynthOptions& options, DtlSink& sink) {
  DtlWriter writer(sink, DescribeSynth(options.kind));
  std::atomic<uint64_t> made = 0;
  SynthScan(options, writer).Run(made);
  return writer.Finish();
}

}  // namespace tabulon
