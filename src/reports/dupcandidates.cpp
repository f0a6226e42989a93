#include "reports/dupcandidates.h"

#include <array>
#include <bit>
#include <span>
#include <utility>

#include "base/bytes.h"
#include "base/radixsort.h"
#include "base/threads.h"
#include "detail/attributes.h"
#include "detail/recordreader.h"

namespace tabulon {
namespace {

// More partitions would cost more while they are filled than they spare afterwards: the ends of all
// their chunks have to stay in the caches.
constexpr uint64_t kMostPartitions = 2048;
constexpr uint64_t kMostRanges = 4096;

// How far ahead the records of candidates are fetched.
constexpr size_t kLookAhead = 16;

// Entries of a partition that are looked at once more when they seem to be seen again. More than
// any partition has, unless nearly all files are alike.
constexpr uint64_t kMostLookedAtTwice = uint64_t{1} << 22;

// Files that the scan can hold at most, whatever its totals say.
uint64_t ExpectedFiles(const Scan& scan) {
  return std::min<uint64_t>(uint64_t{scan.logRoot.files} + scan.logRoot.directories,
                            scan.fileSize / scan.layout().fixedSize);
}

// The number of one of `partitions`: the higher the hash the higher.
size_t PartitionOf(uint64_t hash, size_t partitions) {
  return static_cast<size_t>((hash >> 32) * partitions >> 32);
}

uint32_t RangeBits(uint64_t fileSize, uint32_t least) {
  uint32_t bits = least;
  while (fileSize >> bits >= kMostRanges) ++bits;
  return bits;
}

// Which hashes have been seen once, which more often: two bits in a table for each. Two hashes that
// share their bits count as seen again.
class SeenTable {
 public:
  // Forgets all; makes room for so many hashes. One in kMarks is taken for another by chance.
  void Clear(uint64_t hashes) {
    const uint64_t marks = std::bit_ceil(std::clamp(hashes * kMarks, kFewest, kMost));
    words_.assign(marks / kPerWord, 0);
    mask_ = marks - 1;
  }
  void See(uint64_t hash) {
    const uint64_t mark = hash & mask_;
    uint64_t& word = words_[mark / kPerWord];
    const uint64_t once = uint64_t{1} << (mark % kPerWord * 2);
    word |= once | (word & once) << 1;
  }
  bool SeenAgain(uint64_t hash) const {
    const uint64_t mark = hash & mask_;
    return (words_[mark / kPerWord] >> (mark % kPerWord * 2) & 2) != 0;
  }

 private:
  static constexpr uint64_t kMarks = 16;
  static constexpr uint64_t kFewest = 64;
  static constexpr uint64_t kMost = uint64_t{1} << 26;  // 16 MiB
  static constexpr uint64_t kPerWord = 32;
  std::vector<uint64_t> words_;
  uint64_t mask_ = 0;
};

}  // namespace

DupCandidates::DupCandidates(const Scan& scan, uint32_t fields, const DupLimits& limits,
                             bool everyFile)
    : scan_(scan),
      limits_(limits),
      everyFile_(everyFile),
      key_(fields),
      positionBits_(static_cast<uint32_t>(std::bit_width(scan.fileSize))),
      rangeBits_(RangeBits(scan.fileSize, limits.rangeBits)),
      ranges_(static_cast<size_t>(scan.fileSize >> rangeBits_) + 1),
      runs_(scan.fileSize, limits.runFiles) {
  const uint64_t partitions = ExpectedFiles(scan) / limits.partition;
  Part part = {{std::clamp<uint64_t>(partitions, 1, kMostPartitions), limits.gathered},
               {ranges_, limits.gathered / 8 + 1}};
  parts_.push_back(std::make_unique<Part>(std::move(part)));
}

DupCandidates::~DupCandidates() = default;

bool DupCandidates::Gather(Pass& pass) {
  RecordBatch& batch = pass.batch;
  DupPartitions<uint64_t>& entries = parts_.front()->entries;
  const size_t partitions = entries.size();
  const uint64_t* next = key_.Fingerprints(pass).data();
  uint64_t files = 0;
  ForEachChosen(pass, [&](size_t i) {
    const uint64_t fingerprint = *next++;
    if ((batch.fields(i).attributes() & kAttrDirectory) != 0) return;
    const uint64_t position = batch.PositionOf(i);
    const uint64_t directory = batch.DirectoryPositionOf(i);
    if (directory != directory_ || position >= rangeEnd_) NoteDirectory(position, directory);
    runs_.Count(position);
    entries.Add(PartitionOf(fingerprint, partitions), EntryOf(fingerprint, position));
    ++files;
  });
  const uint64_t runsBefore = RunsBegunWith(files_);
  files_ += files;
  return RunsBegunWith(files_) > std::max<uint64_t>(runsBefore, 1);
}

void DupCandidates::NoteDirectory(uint64_t position, uint64_t directory) {
  const size_t range = RangeOf(position);
  directory_ = directory;
  rangeEnd_ = range + 1 < ranges_ ? uint64_t{range + 1} << rangeBits_ : UINT64_MAX;
  parts_.front()->directories.Add(range, {position, directory});
}

void DupCandidates::Merge(DupCandidates& part) {
  std::move(part.parts_.begin(), part.parts_.end(), std::back_inserter(parts_));
  part.parts_.clear();
  runs_.Merge(part.runs_);
}

// What one thread does to choose candidates.
class DupCandidates::Chooser {
 public:
  Chooser(const DupCandidates& owner, size_t limit) : owner_(owner), chosen(owner.ranges_, limit) {}

  void ChooseFrom(size_t partition);

 private:
  template <class Use>
  void ForEach(size_t partition, Use&& use) const {
    for (const auto& part : owner_.parts_) part->entries.ForEach(partition, use);
  }
  void Choose(uint64_t position) { chosen.Add(owner_.RangeOf(position), position); }
  void ChooseAmongFew();
  // Whether two files share it does not depend on whether they share the lower bits of HashIn.
  uint64_t OtherHash(uint64_t entry) const {
    return owner_.HashIn(entry) * kGoldenMultiplier >> 32;
  }

  const DupCandidates& owner_;
  SeenTable seen_;
  std::vector<uint64_t> again_;

 public:
  Positions chosen;
  std::vector<uint64_t> wanted;  // positions that tell where the runs begin
};

void DupCandidates::Chooser::ChooseFrom(size_t partition) {
  uint64_t count = 0;
  for (const auto& part : owner_.parts_) count += part->entries.Count(partition);
  seen_.Clear(count);
  ForEach(partition, [&](std::span<const uint64_t> entries) {
    for (const uint64_t entry : entries) {
      seen_.See(owner_.HashIn(entry));
      if (owner_.runs_.Wants(owner_.PositionIn(entry))) wanted.push_back(owner_.PositionIn(entry));
    }
  });
  const bool few = count <= kMostLookedAtTwice;
  again_.clear();
  ForEach(partition, [&](std::span<const uint64_t> entries) {
    for (const uint64_t entry : entries) {
      if (!owner_.everyFile_ && !seen_.SeenAgain(owner_.HashIn(entry))) continue;
      if (few && !owner_.everyFile_) {
        again_.push_back(entry);
      } else {
        Choose(owner_.PositionIn(entry));
      }
    }
  });
  ChooseAmongFew();
}

// One lone file in sixteen had the mark of another by chance. Another hash tells
// nearly all of these apart.
void DupCandidates::Chooser::ChooseAmongFew() {
  seen_.Clear(again_.size());
  for (const uint64_t entry : again_) seen_.See(OtherHash(entry));
  for (const uint64_t entry : again_) {
    if (seen_.SeenAgain(OtherHash(entry))) Choose(owner_.PositionIn(entry));
  }
}

std::vector<DupCandidates::Positions> DupCandidates::Choose(size_t threads) {
  std::vector<Chooser> choosers;
  for (size_t i = 0; i < threads; ++i) choosers.emplace_back(*this, limits_.sorted / threads + 1);
  ShareOut(threads, parts_.front()->entries.size(),
           [&](size_t thread, size_t partition) { choosers[thread].ChooseFrom(partition); });
  for (auto& part : parts_) part->entries.Release();
  std::vector<Positions> chosen;
  std::vector<uint64_t> wanted;
  for (Chooser& chooser : choosers) {
    chosen.push_back(std::move(chooser.chosen));
    wanted.insert(wanted.end(), chooser.wanted.begin(), chooser.wanted.end());
  }
  runs_.TakeWanted(wanted);
  return chosen;
}

// What one thread does to make candidates of positions.
class DupCandidates::Reader {
 public:
  Reader(const DupCandidates& owner, size_t partitions, size_t limit)
      : owner_(owner), records_(owner.scan_), key_(owner.key_), found(partitions, limit) {}

  // Reads the candidates that lie in a range of the file.
  void ReadRange(size_t range, std::span<const Positions> chosen);

 private:
  void TakePositions(size_t range, std::span<const Positions> chosen);
  void TakeDirectories(size_t range);
  void Enter(uint64_t position);
  void Read(uint64_t position);
  void DigestWaiting();
  void Add(const Candidate& candidate) {
    found.Add(PartitionOf(candidate.digest.high, found.size()), candidate);
  }

  const DupCandidates& owner_;
  RecordReader records_;
  RecordView view_;
  RecordText name_;
  DupKey key_;
  Md5Lanes lanes_;
  std::array<Candidate, Md5Lanes::kLanes> inLanes_;  // those whose messages are in the lanes
  size_t waiting_ = 0;
  std::vector<uint64_t> positions_, sparePositions_;
  std::vector<DirectoryNote> directories_, spareDirectories_;
  size_t nextDirectory_ = 0;  // of directories_
  uint64_t directory_ = 0;    // the current one
  uint32_t directoryLength_ = 0;

 public:
  DigestPartitions found;
};

void DupCandidates::Reader::ReadRange(size_t range, std::span<const Positions> chosen) {
  TakePositions(range, chosen);
  TakeDirectories(range);
  for (size_t i = 0; i < positions_.size(); ++i) {
    if (i + kLookAhead < positions_.size()) records_.Prefetch(positions_[i + kLookAhead]);
    Enter(positions_[i]);
    Read(positions_[i]);
  }
  DigestWaiting();
}

void DupCandidates::Reader::TakePositions(size_t range, std::span<const Positions> chosen) {
  positions_.clear();
  for (const Positions& some : chosen) some.Read(range, positions_);
  const uint64_t start = uint64_t{range} << owner_.rangeBits_;
  RadixSort(positions_, sparePositions_, [&](uint64_t position) { return position - start; });
}

void DupCandidates::Reader::TakeDirectories(size_t range) {
  directories_.clear();
  for (const auto& part : owner_.parts_) part->directories.Read(range, directories_);
  nextDirectory_ = 0;
  directory_ = directoryLength_ = 0;
  if (owner_.parts_.size() == 1) return;  // in file order
  const uint64_t start = uint64_t{range} << owner_.rangeBits_;
  RadixSort(directories_, spareDirectories_,
            [&](const DirectoryNote& note) { return note.position - start; });
}

// Makes the directory of the file at `position` the current one.
void DupCandidates::Reader::Enter(uint64_t position) {
  const uint64_t before = directory_;
  while (nextDirectory_ < directories_.size() &&
         directories_[nextDirectory_].position <= position) {
    directory_ = directories_[nextDirectory_++].directory;
    if (nextDirectory_ + kLookAhead < directories_.size()) {
      records_.Prefetch(directories_[nextDirectory_ + kLookAhead].directory);
    }
  }
  if (directory_ == before) return;
  const bool known = records_.Read(directory_, view_);
  directoryLength_ = known ? static_cast<uint32_t>(view_.name.size()) : 0;
}

void DupCandidates::Reader::Read(uint64_t position) {
  if (!records_.Read(position, view_)) return;
  view_.LookAtName(name_);
  Candidate candidate = {.digest = {},
                         .position = position,
                         .directory = directory_,
                         .size = view_.fields.size(),
                         .modified = view_.fields.modified(),
                         .created = view_.fields.created(),
                         .textLength = static_cast<uint32_t>(view_.name.size()) + directoryLength_,
                         .run = owner_.runs_.RunOf(position)};
  const std::span<const unsigned char> message = key_.CheckBuffer(view_.fields, name_);
  if (message.size() > Md5Lanes::kLongest) {
    candidate.digest = Md5(message);
    Add(candidate);
    return;
  }
  lanes_.Set(waiting_, message);
  inLanes_[waiting_++] = candidate;
  if (waiting_ == Md5Lanes::kLanes) DigestWaiting();
}

void DupCandidates::Reader::DigestWaiting() {
  const std::array<Digest, Md5Lanes::kLanes> digests = lanes_.Compute();
  for (size_t i = 0; i < waiting_; ++i) {
    inLanes_[i].digest = digests[i];
    Add(inLanes_[i]);
  }
  waiting_ = 0;
}

std::vector<DigestPartitions> DupCandidates::Find(size_t threads) {
  runs_.Finish();
  const std::vector<Positions> chosen = Choose(threads);
  uint64_t count = 0;
  for (const Positions& some : chosen) {
    for (size_t range = 0; range < ranges_; ++range) count += some.Count(range);
  }
  const uint64_t partitions =
      std::clamp<uint64_t>(count / limits_.partition * 4, 1, kMostPartitions);
  std::vector<std::unique_ptr<Reader>> readers;
  for (size_t i = 0; i < threads; ++i) {
    readers.push_back(std::make_unique<Reader>(*this, partitions, limits_.sorted / threads + 1));
  }
  ShareOut(threads, ranges_,
           [&](size_t thread, size_t range) { readers[thread]->ReadRange(range, chosen); });
  std::vector<DigestPartitions> found;
  for (const auto& reader : readers) found.push_back(std::move(reader->found));
  parts_.clear();
  return found;
}

}  // namespace tabulon
