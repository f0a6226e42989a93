#include "reports/dupgroups.h"

#include <algorithm>
#include <numeric>

#include "base/fileio.h"
#include "base/loganderr.h"
#include "detail/scandetail.h"

namespace tabulon {

void DupMembers::Add(const DupMember& member) {
  if (recent_.full()) {
    if (!file_.valid()) file_ = TempFile::Create("dupmerge.tmp");
    if (!file_.valid() ||
        !WriteFully(file_.fd(), recent_.begin(), recent_.size() * sizeof(DupMember))) {
      PosixErrExit(0, L"Error writing '%s'\n", file_.path());
    }
    inFile_ += recent_.size();
    recent_.Clear();
  }
  recent_.Push(member);
}

void DupMembers::Read(uint64_t first, size_t number, std::vector<DupMember>& out) {
  const size_t fromFile =
      first < inFile_ ? static_cast<size_t>(std::min<uint64_t>(number, inFile_ - first)) : 0;
  if (fromFile > 0) {
    const size_t at = out.size();
    out.resize(at + fromFile);
    const size_t bytes = fromFile * sizeof(DupMember);
    if (ReadFullyAt(file_.fd(), out.data() + at, bytes,
                    static_cast<off_t>(first * sizeof(DupMember))) != static_cast<ssize_t>(bytes)) {
      PosixErrExit(0, L"Error reading '%s'\n", file_.path());
    }
  }
  if (fromFile == number) return;
  const DupMember* rest = recent_.begin() + (first + fromFile - inFile_);
  out.insert(out.end(), rest, rest + (number - fromFile));
}

DupGroups::DupGroups(DupDebugFiles* files, size_t limit)
    : files_(files),
      candidates_(limit, "dups.tmp"),
      groups_(limit, "dupsort.tmp"),
      members_(limit) {}

void DupGroups::Finish() {
  candidates_.Finish();
  Candidate candidate;
  while (candidates_.Next(candidate)) {
    if (!run_.empty()) {
      const bool sameGroup = candidate.digest == run_.front().digest;
      if (!sameGroup || candidate.run != run_.front().run) EndRun();
      if (!sameGroup) EndGroup();
    }
    run_.push_back(candidate);
  }
  EndRun();
  EndGroup();
  candidates_.Release();
  groups_.Finish();
}

// Within a run the files of a group carry sequence numbers 0, 1, 2 ... in file order, and stand in
// the byte order of the stored (little-endian) numbers: 256 comes right behind 0. Kept so: it shows
// in groups of more than 256 files.
void DupGroups::EndRun() {
  if (run_.empty()) return;
  std::vector<uint32_t> sequence(run_.size());
  std::iota(sequence.begin(), sequence.end(), 0U);
  if (sequence.size() > 256) {
    std::sort(sequence.begin(), sequence.end(),
              [](uint32_t a, uint32_t b) { return __builtin_bswap32(a) < __builtin_bswap32(b); });
  }
  if (files_ != nullptr) files_->AddRun(run_, sequence);
  for (const uint32_t i : sequence) AddMember(run_[i]);
  const uint64_t later = run_.size() - 1;
  totals_.files += later;
  totals_.bytes += later * run_.front().size;
  totals_.allocated += later * AllocatedSize(run_.front().size);
  lastSize_ = run_.front().size;
  run_.clear();
}

void DupGroups::AddMember(const Candidate& candidate) {
  const DupMember member = {candidate.position, candidate.directory, candidate.textLength, 0};
  if (++groupCount_ == 1) {
    first_ = member;
    return;
  }
  if (groupCount_ == 2) members_.Add(first_);
  members_.Add(member);
}

void DupGroups::EndGroup() {
  if (groupCount_ > 1) {
    groups_.Add({lastSize_, members_.count() - groupCount_, groupCount_, 0});
  }
  if (files_ != nullptr) files_->EndGroup(groupCount_);
  groupCount_ = 0;
}

}  // namespace tabulon
