#include "tools/dtldiff/comparison.h"

#include <algorithm>

#include "base/loganderr.h"

namespace tabulon {
namespace {

// Files without a partner that are paired within their directory; more go to the leftovers.
constexpr size_t kMostRest = 100'000;

uint64_t BytesToRead(const QueriedScan& scan) {
  return AssumedRecordsEnd(scan.scan) - scan.scan.logRoot.firstRecord;
}

bool PathLess(const FileEntry& a, const FileEntry& b) {
  return a.path != b.path ? a.path < b.path : a.place.file < b.place.file;
}

// Names that come next, told by their hashes.
struct NextNames {
  static constexpr size_t kMost = 24;
  size_t count = 0;
  uint64_t hashes[kMost];
  uint64_t positions[kMost];

  // Reads them; the reader is after them then.
  void Read(DirFiles& reader, const Seeds& seeds) {
    for (; count < kMost && reader.valid(); reader.Advance()) {
      hashes[count] = seeds.OfText(reader.name());
      positions[count++] = reader.position();
    }
  }
};

}  // namespace

bool WaitingDirs::Add(const DirSection& section) {
  const Waiting waiting = {section.digest, section.directory, section.begin, section.end};
  const uint32_t known = byDigest_.Find(
      section.digest.first, [&](uint32_t i) { return sections_[i].digest == section.digest; });
  if (known == IndexTable::kNone) {
    byDigest_.Add(section.digest.first, static_cast<uint32_t>(sections_.size()));
    sections_.push_back(waiting);
    return true;
  }
  if (sections_[known].end != 0) return false;
  sections_[known] = waiting;
  --taken_;
  return true;
}

bool WaitingDirs::Take(const PathDigest& digest, DirSection& section) {
  if (sections_.empty()) return false;
  const uint32_t found = byDigest_.Find(digest.first, [&](uint32_t i) {
    return sections_[i].digest == digest && sections_[i].end != 0;
  });
  if (found == IndexTable::kNone) return false;
  Waiting& waiting = sections_[found];
  section.directory = waiting.directory;
  section.begin = waiting.begin;
  section.end = waiting.end;
  section.digest = digest;
  waiting.end = 0;
  if (++taken_ == sections_.size()) *this = {};
  return true;
}

template <class Use>
void WaitingDirs::Drain(Use&& use) {
  DirSection section;
  for (const Waiting& waiting : sections_) {
    if (waiting.end == 0) continue;
    section.directory = waiting.directory;
    section.begin = waiting.begin;
    section.end = waiting.end;
    section.digest = waiting.digest;
    use(section);
  }
  *this = {};
}

ScanComparison::ScanComparison(const DiffOptions& options, const QueriedScan& older,
                               const QueriedScan& newer, Changes& changes)
    : options_(options),
      older_(older),
      newer_(newer),
      changes_(changes),
      old_(older, seeds_),
      now_(newer, seeds_),
      leftovers_(options, newer.scan.isCifs(), changes) {}

bool ScanComparison::Run() {
  ReadProgress progress(BytesToRead(older_) + BytesToRead(newer_), -1);
  const bool whole = Walk(progress);
  progress.Stop();
  if (!whole) return false;
  leftovers_.Finish();
  return true;
}

bool ScanComparison::Walk(ReadProgress& progress) {
  DirWalk oldWalk(older_.scan, seeds_, progress), newWalk(newer_.scan, seeds_, progress);
  DirSection old, now;
  bool moreOld = oldWalk.Next(old), moreNew = newWalk.Next(now);
  while (moreOld || moreNew) Step(old, now, moreOld, moreNew, oldWalk, newWalk);
  DrainWaiting();
  const auto check = [](const DirWalk& walk, const QueriedScan& scan) {
    if (!walk.whole()) LogErr(L"'%s' breaks off; there is nothing to compare\n", scan.name);
    return walk.whole();
  };
  const bool wholeOld = check(oldWalk, older_);
  return check(newWalk, newer_) && wholeOld;
}

// One directory of either scan, or of both. A scan whose directory the other one waited for lags:
// it goes on alone.
void ScanComparison::Step(DirSection& old, DirSection& now, bool& moreOld, bool& moreNew,
                          DirWalk& oldWalk, DirWalk& newWalk) {
  DirSection partner;
  bool nextOld = moreOld, nextNew = moreNew;
  if (moreOld && moreNew && old.digest == now.digest) {
    CompareDirs(old, now);
  } else if (moreOld && waitingNew_.Take(old.digest, partner)) {
    partner.path = old.path;
    CompareDirs(old, partner);
    nextNew = false;
  } else if (moreNew && waitingOld_.Take(now.digest, partner)) {
    partner.path = now.path;
    CompareDirs(partner, now);
    nextOld = false;
  } else {
    if (moreOld && !waitingOld_.Add(old)) LeaveOld(old);
    if (moreNew && !waitingNew_.Add(now)) LeaveNew(now);
    if (waitingOld_.full() || waitingNew_.full()) DrainWaiting();
  }
  if (nextOld) moreOld = oldWalk.Next(old);
  if (nextNew) moreNew = newWalk.Next(now);
}

// Names that are in the same order in both are compared as they come.
void ScanComparison::CompareDirs(const DirSection& old, const DirSection& now) {
  old_.Start(old);
  now_.Start(now);
  while (old_.valid() && now_.valid()) {
    if (old_.name() == now_.name()) {
      CompareHere(now.path);
      old_.Advance();
      now_.Advance();
    } else {
      Resync();
    }
  }
  for (; old_.valid(); old_.Advance()) KeepOld();
  for (; now_.valid(); now_.Advance()) KeepNew();
  PairRest();
}

void ScanComparison::CompareHere(std::string_view directory) {
  const bool cifs = newer_.scan.isCifs();
  const RecordFields &before = old_.view().fields, &after = now_.view().fields;
  const auto kind = ChangeOf(StateOf(before, cifs), StateOf(after, cifs),
                             old_.target() == now_.target(), options_.metadata);
  if (!kind || !changes_.Wants(*kind, true) || !now_.Passes()) return;
  changes_.TakeInPlace(*kind, before.size(), after.size(), directory, now_.name());
}

// The names differ: those before the next name that both have are put aside.
void ScanComparison::Resync() {
  const uint64_t oldAt = old_.position(), newAt = now_.position();
  NextNames olds, nows;
  olds.Read(old_, seeds_);
  nows.Read(now_, seeds_);
  size_t i = olds.count, j = nows.count;
  for (size_t sum = 0, none = i + j; sum < none && i + j == none; ++sum) {
    for (size_t at = sum < nows.count ? 0 : sum - nows.count + 1; at <= sum && at < olds.count;
         ++at) {
      if (olds.hashes[at] != nows.hashes[sum - at]) continue;
      i = at;
      j = sum - at;
      break;
    }
  }
  old_.Seek(oldAt);
  for (size_t n = 0; n < i; ++n, old_.Advance()) KeepOld();
  now_.Seek(newAt);
  for (size_t n = 0; n < j; ++n, now_.Advance()) KeepNew();
}

void ScanComparison::KeepOld() {
  if (restOld_.size() >= kMostRest) {
    leftovers_.AddOld(old_.Entry());
  } else {
    restOld_.push_back(old_.Entry());
  }
}

void ScanComparison::KeepNew() {
  if (restNew_.size() >= kMostRest) {
    leftovers_.AddNew(now_.Entry());
  } else {
    restNew_.push_back(now_.Entry());
  }
}

// Files that are in another order within the directory. Partners that are not among them, because
// there are too many, meet among the leftovers.
void ScanComparison::PairRest() {
  if (restOld_.empty() && restNew_.empty()) return;
  std::sort(restOld_.begin(), restOld_.end(), PathLess);
  std::sort(restNew_.begin(), restNew_.end(), PathLess);
  size_t i = 0, j = 0;
  while (i < restOld_.size() || j < restNew_.size()) {
    const bool anyOld = i < restOld_.size(), anyNew = j < restNew_.size();
    if (anyOld && anyNew && restOld_[i].path == restNew_[j].path) {
      leftovers_.Pair(restOld_[i++], restNew_[j++]);
    } else if (anyOld && (!anyNew || restOld_[i].path < restNew_[j].path)) {
      leftovers_.AddOld(restOld_[i++]);
    } else {
      leftovers_.AddNew(restNew_[j++]);
    }
  }
  restOld_.clear();
  restNew_.clear();
}

void ScanComparison::LeaveOld(const DirSection& section) {
  for (old_.Start(section); old_.valid(); old_.Advance()) leftovers_.AddOld(old_.Entry());
}

void ScanComparison::LeaveNew(const DirSection& section) {
  for (now_.Start(section); now_.valid(); now_.Advance()) leftovers_.AddNew(now_.Entry());
}

// Directories that wait no longer: their files may still meet among the leftovers.
void ScanComparison::DrainWaiting() {
  waitingOld_.Drain([&](DirSection& section) {
    section.path = changes_.oldPaths().DirectoryAt(section.directory);
    LeaveOld(section);
  });
  waitingNew_.Drain([&](DirSection& section) {
    section.path = changes_.newPaths().DirectoryAt(section.directory);
    LeaveNew(section);
  });
}

}  // namespace tabulon
