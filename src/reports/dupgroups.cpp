#include "reports/dupgroups.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>
#include <numeric>

#include "base/fileio.h"
#include "base/loganderr.h"
#include "base/radixsort.h"
#include "base/threads.h"
#include "base/turns.h"

namespace tabulon {
namespace {

constexpr size_t kRecordSize = 56;
constexpr size_t kCounterAt = 48;
constexpr size_t kPendingSize = 64 * 1024;

template <class T>
void Store(unsigned char* at, T value) {
  std::memcpy(at, &value, sizeof value);
}

std::array<unsigned char, kRecordSize> RecordOf(const Candidate& file, uint32_t sequence,
                                                uint32_t counter) {
  std::array<unsigned char, kRecordSize> bytes{};
  Store(bytes.data(), __builtin_bswap64(file.digest.high));
  Store(bytes.data() + 8, __builtin_bswap64(file.digest.low));
  Store(bytes.data() + 16, sequence);
  Store(bytes.data() + 24, file.size);
  Store(bytes.data() + 32, file.position);
  Store(bytes.data() + 40, file.directory);
  Store(bytes.data() + kCounterAt, counter);
  return bytes;
}

}  // namespace

void DupDebugFiles::NewRun() {
  const std::string name = "duptemp" + std::to_string(keptFiles_++) + ".tmp";
  ConsoleEntry(Console(), L"new dup temp file: %s\n", name);
  runs_.emplace_back().file = TempFile::CreateNamed(name);
  if (!runs_.back().file.valid()) ErrExit(L"Unable to create duplicate tree temp file\n");
}

void DupDebugFiles::AddRun(std::span<const Candidate> files, std::span<const uint32_t> sequence) {
  Output& run = runs_[files.front().run];
  for (const uint32_t i : sequence) {
    const auto counter = i == 0 ? static_cast<uint32_t>(files.size() - 1) : 0;
    const auto record = RecordOf(files[i], i, counter);
    Append(run, record);
    group_.insert(group_.end(), record.begin(), record.end());
  }
}

void DupDebugFiles::EndGroup(uint32_t count) {
  if (count > 1) {
    Store(group_.data() + kCounterAt, count);
    OpenMerged();
    Append(merged_, group_);
  }
  group_.clear();
}

void DupDebugFiles::Finish() {
  constexpr std::array<unsigned char, kRecordSize> sentinel = [] {
    std::array<unsigned char, kRecordSize> bytes{};
    bytes.fill(0xFF);
    return bytes;
  }();
  for (Output& run : runs_) {
    Append(run, sentinel);
    Write(run);
  }
  OpenMerged();
  Write(merged_);
}

void DupDebugFiles::OpenMerged() {
  if (merged_.file.valid()) return;
  merged_.file = TempFile::CreateNamed("dupmerge.tmp");
  if (!merged_.file.valid()) {
    PosixErrExit(0, L"Unable to create temporary file '%s'\n", merged_.file.path());
  }
}

void DupDebugFiles::Append(Output& output, std::span<const unsigned char> bytes) {
  output.pending.insert(output.pending.end(), bytes.begin(), bytes.end());
  if (output.pending.size() >= kPendingSize) Write(output);
}

void DupDebugFiles::Write(Output& output) {
  if (!WriteFully(output.file.fd(), output.pending.data(), output.pending.size())) {
    PosixErrExit(0, L"Error writing '%s'\n", output.file.path());
  }
  output.pending.clear();
}

void DupMembers::Add(std::span<const DupMember> members) {
  members = members.subspan(recent_.Append(members));
  while (!members.empty()) {
    if (!file_.valid()) file_ = TempFile::Create("dupmerge.tmp");
    if (!file_.valid() ||
        !WriteFully(file_.fd(), recent_.begin(), recent_.size() * sizeof(DupMember))) {
      PosixErrExit(0, L"Error writing '%s'\n", file_.path());
    }
    inFile_ += recent_.size();
    recent_.Clear();
    members = members.subspan(recent_.Append(members));
  }
}

void DupMembers::Read(uint64_t first, size_t number, std::vector<DupMember>& out) {
  const size_t fromFile =
      first < inFile_ ? static_cast<size_t>(std::min<uint64_t>(number, inFile_ - first)) : 0;
  if (fromFile > 0) {
    const size_t at = out.size();
    out.resize(at + fromFile);
    const size_t bytes = fromFile * sizeof(DupMember);
    if (!ReadExactlyAt(file_.fd(), out.data() + at, bytes,
                       static_cast<off_t>(first * sizeof(DupMember)))) {
      PosixErrExit(0, L"Error reading '%s'\n", file_.path());
    }
  }
  if (fromFile == number) return;
  const DupMember* rest = recent_.begin() + (first + fromFile - inFile_);
  out.insert(out.end(), rest, rest + (number - fromFile));
}

void DupGrouper::Add(const Candidate& candidate) {
  if (!run_.empty()) {
    if (candidate.digest != last_.digest) {
      EndGroup();
    } else if (candidate.run != last_.run) {
      EndRun();
    }
  }
  last_ = candidate;
  run_.emplace_back(candidate.position, candidate.directory, candidate.textLength);
  if (files_ != nullptr) kept_.push_back(candidate);
}

// Within a run the files of a group have sequence numbers 0, 1, 2 ... in file order, and are
// ordered by the bytes of the stored (little-endian) numbers: 256 comes right after 0. Kept so: it
// shows in groups of more than 256 files.
void DupGrouper::EndRun() {
  sequence_.resize(run_.size());
  std::iota(sequence_.begin(), sequence_.end(), 0U);
  if (sequence_.size() > 256) {
    std::sort(sequence_.begin(), sequence_.end(),
              [](uint32_t a, uint32_t b) { return __builtin_bswap32(a) < __builtin_bswap32(b); });
  }
  if (files_ != nullptr) files_->AddRun(kept_, sequence_);
  for (const uint32_t i : sequence_) AddMember(run_[i]);
  const uint64_t later = run_.size() - 1;
  totals.files += later;
  totals.bytes += later * last_.size;
  totals.allocated += later * AllocatedSize(last_.size, fileIncr_);
  run_.clear();
  kept_.clear();
}

void DupGrouper::AddMember(const DupMember& member) {
  if (++groupCount_ == 1) {
    first_ = member;
    return;
  }
  if (groupCount_ == 2) members.push_back(first_);
  members.push_back(member);
}

void DupGrouper::EndGroup() {
  if (run_.empty()) return;
  EndRun();
  if (groupCount_ > 1) {
    made_ += groupCount_;
    groups.push_back({.size = last_.size,
                      .first = made_ - groupCount_,
                      .count = groupCount_,
                      .modified = last_.modified,
                      .created = last_.created,
                      .unused = 0});
  }
  if (files_ != nullptr) files_->EndGroup(groupCount_);
  groupCount_ = 0;
}

namespace {

// Sorts the candidates of a partition. What is moved about is the first half of the digest and a
// number, which is enough unless files are equal.
class PartitionSorter {
 public:
  // Calls take(candidate) for all candidates of the partition, in order.
  template <class Take>
  void Sort(const std::vector<DigestPartitions>& found, size_t partition, Take&& take) {
    candidates_.clear();
    for (const DigestPartitions& some : found) some.Read(partition, candidates_);
    SortKeys();
    for (const Key& key : keys_) take(candidates_[key.number]);
  }

 private:
  struct Key {
    uint64_t high;
    uint32_t number;  // of the candidate
  };
  // First by as many bits as two passes take, then the few that agree in these: nearly all of them
  // are equal files.
  void SortKeys() {
    constexpr int kBits = 22;
    keys_.clear();
    uint64_t least = UINT64_MAX, most = 0;
    for (uint32_t i = 0; i < candidates_.size(); ++i) {
      keys_.push_back({candidates_[i].digest.high, i});
      least = std::min(least, keys_.back().high);
      most = std::max(most, keys_.back().high);
    }
    const int shift = std::max(static_cast<int>(std::bit_width(most - least)) - kBits, 0);
    const auto rank = [&](const Key& key) { return (key.high - least) >> shift; };
    RadixSort(keys_, spareKeys_, rank);
    for (auto first = keys_.begin(); first != keys_.end();) {
      const auto end = std::find_if(first, keys_.end(),
                                    [&](const Key& key) { return rank(key) != rank(*first); });
      std::sort(first, end, [this](const Key& a, const Key& b) {
        return CandidateOrder::Less(candidates_[a.number], candidates_[b.number]);
      });
      first = end;
    }
  }

  std::vector<Candidate> candidates_;
  std::vector<Key> keys_, spareKeys_;
};

uint64_t CountOf(const std::vector<DigestPartitions>& found, size_t partition) {
  uint64_t count = 0;
  for (const DigestPartitions& some : found) count += some.Count(partition);
  return count;
}

}  // namespace

// Threads group partitions side by side, each with what it has for that, and what comes out is
// taken over in the partitions' order.
void DupGroups::Make(std::vector<DigestPartitions>& found) {
  const size_t threads = found.size();
  std::vector<PartitionSorter> sorters(threads);
  std::vector<DupGrouper> groupers(threads, DupGrouper(files_, fileIncr_));
  Turns turns;
  const auto group = [&](size_t thread, size_t partition) {
    const bool large = CountOf(found, partition) > limit_;
    DupGrouper& grouper = groupers[thread];
    if (!large) {
      sorters[thread].Sort(found, partition,
                           [&](const Candidate& candidate) { grouper.Add(candidate); });
      grouper.EndGroup();
    }
    if (!turns.Await(partition)) return;
    if (large) GroupLarge(found, partition);
    Take(grouper, members_.count());
    grouper.Restart();
    turns.HandOn(partition);
  };
  ShareOut(threads, found.front().size(), [&](size_t thread, size_t partition) {
    try {
      group(thread, partition);
    } catch (...) {
      turns.End();
      throw;
    }
  });
  for (DigestPartitions& some : found) some.Release();
  groups_.Finish(threads);
}

// A partition is that large when very many files are equal.
void DupGroups::GroupLarge(const std::vector<DigestPartitions>& found, size_t partition) {
  constexpr size_t kMembersAtOnce = 64U << 10;
  // Other candidates are in memory, and the members of a whole run.
  SortedSpool<Candidate, CandidateOrder> sorted(limit_ / 4 + 1, "dups.tmp");
  for (const DigestPartitions& some : found) {
    some.ForEach(partition, [&](std::span<const Candidate> candidates) {
      for (const Candidate& candidate : candidates) sorted.Add(candidate);
    });
  }
  sorted.Finish();
  DupGrouper grouper(files_, fileIncr_);
  const uint64_t before = members_.count();
  for (Candidate candidate; sorted.Next(candidate);) {
    grouper.Add(candidate);
    if (grouper.members.size() >= kMembersAtOnce) Take(grouper, before);
  }
  grouper.EndGroup();
  Take(grouper, before);
}

// Takes over what has been made; `before`: the members that were there before the grouper's first.
void DupGroups::Take(DupGrouper& from, uint64_t before) {
  members_.Add(from.members);
  for (DupGroup group : from.groups) {
    group.first += before;
    groups_.Add(group);
  }
  totals_.files += from.totals.files;
  totals_.bytes += from.totals.bytes;
  totals_.allocated += from.totals.allocated;
  from.members.clear();
  from.groups.clear();
  from.totals = {};
}

}  // namespace tabulon
