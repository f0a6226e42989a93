#include "reports/dupcandidates.h"

#include <algorithm>
#include <array>
#include <bit>
#include <vector>

#include "base/fileio.h"
#include "base/loganderr.h"
#include "detail/recordreader.h"

namespace tabulon {
namespace {

// Eight marks a file keep chance hits near one in eight even when every file is alone.
constexpr uint64_t kMarksPerFile = 8;
constexpr uint64_t kFewestMarks = uint64_t{1} << 16;
constexpr uint64_t kMostMarks = uint64_t{1} << 30;  // 256 MiB of marks

// Entries read back at a time.
constexpr size_t kEntriesAtOnce = 64 * 1024;
// How far ahead the marks of entries are fetched.
constexpr size_t kLookAhead = 16;

// Files that the scan can hold at most, whatever its totals say.
uint64_t ExpectedFiles(const Scan& scan) {
  const uint64_t size = FileWindow(scan.dtlFile.get()).fileSize();
  return std::min<uint64_t>(uint64_t{scan.logRoot.files} + scan.logRoot.directories,
                            size / scan.layout().fixedSize);
}

}  // namespace

SeenTable::SeenTable(uint64_t files) {
  const uint64_t marks = std::bit_ceil(std::clamp(files * kMarksPerFile, kFewestMarks, kMostMarks));
  words_ = HugeArray<uint64_t>(marks / kPerWord);
  words_.Resize(marks / kPerWord);
  shift_ = static_cast<uint32_t>(64 - std::countr_zero(marks));
  std::fill(std::begin(waiting_), std::end(waiting_), kNone);
}

void SeenTable::Finish() {
  for (uint32_t& slot : waiting_) Mark(std::exchange(slot, kNone));
}

DupCandidates::DupCandidates(const Scan& scan, uint32_t fields, const DupLimits& limits,
                             bool everyFile)
    : scan_(scan),
      runLimit_(limits.runFiles),
      everyFile_(everyFile),
      key_(fields),
      seen_(ExpectedFiles(scan)),
      entries_(limits.gathered) {}

void DupCandidates::Push(uint64_t position, uint32_t slot) {
  if (entries_.full()) Spill();
  entries_.Push({static_cast<uint32_t>(position), static_cast<uint32_t>(position >> 32), slot});
}

bool DupCandidates::Gather(const ScanRecord& record) {
  if (record.directoryPosition != directory_) {
    directory_ = record.directoryPosition;
    Push(directory_, kDirectory);
  }
  const uint32_t slot = seen_.Slot(key_.Fingerprint(record.fields(), record.name));
  seen_.See(slot);
  Push(record.view.position, slot);
  const uint64_t before = files_++;
  return before > 0 && before % runLimit_ == 0;
}

void DupCandidates::Spill() {
  if (!spill_.valid()) spill_ = TempFile::Create("dups.tmp");
  if (!spill_.valid()) ErrExit(L"Unable to create duplicate tree temp file\n");
  if (!WriteFully(spill_.fd(), entries_.begin(), entries_.size() * sizeof(Entry))) {
    PosixErrExit(0, L"Error writing '%s'\n", spill_.path());
  }
  spilled_ += entries_.size();
  entries_.Clear();
}

// Turns entries back into candidates, in file order. A few are known ahead of the one that is read,
// so that their records are on their way.
class DupCandidates::Reader {
 public:
  Reader(DupCandidates& owner, const std::function<void(const Candidate&)>& take)
      : owner_(owner), take_(take), records_(owner.scan_) {}

  void Read(const Entry* entries, size_t count) {
    for (size_t i = 0; i < count; ++i) {
      if (i + kLookAhead < count && entries[i + kLookAhead].slot != kDirectory) {
        owner_.seen_.Prefetch(entries[i + kLookAhead].slot);
      }
      Choose(entries[i]);
    }
  }
  // Reads those that are still waiting.
  void Finish() {
    while (taken_ < chosen_) Take(waiting_[taken_++ % kLookAhead]);
  }

 private:
  // A file that its fingerprint makes a candidate.
  struct Chosen {
    uint64_t position;
    uint64_t directory;
    uint32_t run;
  };

  void Choose(const Entry& entry) {
    if (entry.slot == kDirectory) {
      directory_ = entry.position();
      return;
    }
    const auto run = static_cast<uint32_t>(files_++ / owner_.runLimit_);
    if (!owner_.everyFile_ && !owner_.seen_.SeenAgain(entry.slot)) return;
    if (chosen_ - taken_ == kLookAhead) Take(waiting_[taken_++ % kLookAhead]);
    waiting_[chosen_++ % kLookAhead] = {entry.position(), directory_, run};
    records_.Prefetch(entry.position());
  }

  void Take(const Chosen& from) {
    if (from.directory != lengthOf_) {
      const bool known = records_.Read(from.directory, view_);
      directoryLength_ = known ? static_cast<uint32_t>(view_.name.size()) : 0;
      lengthOf_ = from.directory;
    }
    if (!records_.Read(from.position, view_)) return;
    view_.LookAtName(name_);
    take_({.digest = owner_.key_.Md5(view_.fields, name_),
           .run = from.run,
           .textLength = static_cast<uint32_t>(view_.name.size()) + directoryLength_,
           .position = from.position,
           .directory = from.directory,
           .size = view_.fields.size()});
  }

  DupCandidates& owner_;
  const std::function<void(const Candidate&)>& take_;
  RecordReader records_;
  RecordView view_;
  RecordText name_;
  uint64_t files_ = 0;
  uint64_t directory_ = 0;
  uint64_t lengthOf_ = 0;  // the directory whose length is known; 0: files before the first one
  uint32_t directoryLength_ = 0;
  std::array<Chosen, kLookAhead> waiting_;
  size_t chosen_ = 0;
  size_t taken_ = 0;
};

void DupCandidates::ForEach(const std::function<void(const Candidate&)>& take) {
  seen_.Finish();
  Reader reader(*this, take);
  std::vector<Entry> block(std::min<uint64_t>(spilled_, kEntriesAtOnce));
  for (uint64_t done = 0; done < spilled_; done += block.size()) {
    block.resize(std::min<uint64_t>(spilled_ - done, kEntriesAtOnce));
    const size_t bytes = block.size() * sizeof(Entry);
    if (ReadFullyAt(spill_.fd(), block.data(), bytes, static_cast<off_t>(done * sizeof(Entry))) !=
        static_cast<ssize_t>(bytes)) {
      PosixErrExit(0, L"Error reading '%s'\n", spill_.path());
    }
    reader.Read(block.data(), block.size());
  }
  reader.Read(entries_.begin(), entries_.size());
  reader.Finish();
  spill_.Remove();
  entries_.Release();
  seen_.Release();
}

}  // namespace tabulon
