#include "reports/dupgroups.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <numeric>

#include "base/fileio.h"
#include "base/loganderr.h"

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

DupGroups::DupGroups(DupDebugFiles* files, size_t limit, uint32_t fileIncr)
    : files_(files),
      fileIncr_(fileIncr),
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

// Within a run the files of a group have sequence numbers 0, 1, 2 ... in file order, and are
// ordered by the bytes of the stored (little-endian) numbers: 256 comes right after 0. Kept so: it
// shows in groups of more than 256 files.
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
  totals_.allocated += later * AllocatedSize(run_.front().size, fileIncr_);
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
