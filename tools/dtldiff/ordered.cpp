#include "tools/dtldiff/ordered.h"

#include <algorithm>
#include <cstring>

#include "base/fileio.h"
#include "base/loganderr.h"

namespace tabulon {
namespace {

// A row in memory and in the file: this, the path, the new path.
struct Head {
  uint64_t weight, before, after;
  const char* fault;  // of a constant text of this process
  uint32_t pathLength, newPathLength;
  ChangeKind kind;

  size_t size() const { return sizeof(Head) + pathLength + newPathLength; }
};

Head HeadOf(const char* bytes) {
  Head head;
  std::memcpy(&head, bytes, sizeof head);
  return head;
}

std::string_view PathOf(const char* bytes, const Head& head) {
  return {bytes + sizeof head, head.pathLength};
}

bool Before(const char* a, const char* b) {
  const Head headA = HeadOf(a), headB = HeadOf(b);
  if (headA.weight != headB.weight) return headA.weight > headB.weight;
  const int order = PathOf(a, headA).compare(PathOf(b, headB));
  return order != 0 ? order < 0 : headA.kind < headB.kind;
}

void Append(std::vector<char>& bytes, const void* from, size_t size) {
  const char* const first = static_cast<const char*>(from);
  bytes.insert(bytes.end(), first, first + size);
}

}  // namespace

void OrderedChanges::Add(const ChangeRow& row) {
  Head head{};  // its unused bytes are written, too: they must not be random
  const int64_t difference = row.difference();
  head.weight = static_cast<uint64_t>(difference < 0 ? -difference : difference);
  head.before = row.before;
  head.after = row.after;
  head.fault = row.fault;
  head.pathLength = static_cast<uint32_t>(row.path.size());
  head.newPathLength = static_cast<uint32_t>(row.newPath.size());
  head.kind = row.kind;
  if (bytes_.size() + head.size() > kMostBytes) Spill();
  if (bytes_.capacity() == 0) {
    bytes_.reserve(kMostBytes);  // address space; memory is taken as it is used
  }
  starts_.push_back(static_cast<uint32_t>(bytes_.size()));
  Append(bytes_, &head, sizeof head);
  Append(bytes_, row.path.data(), row.path.size());
  Append(bytes_, row.newPath.data(), row.newPath.size());
}

void OrderedChanges::Sort() {
  std::sort(starts_.begin(), starts_.end(),
            [&](uint32_t a, uint32_t b) { return Before(bytes_.data() + a, bytes_.data() + b); });
}

void OrderedChanges::Spill() {
  if (starts_.empty()) return;
  if (!file_.valid()) {
    file_ = TempFile::Create("dtldiff.tmp", 0600);
    if (!file_.valid()) PosixErrExit(0, L"Unable to create temporary file '%s'\n", file_.path());
  }
  Sort();
  Run run{end_, end_, {}};
  std::vector<char> piece;
  const auto write = [&] {
    if (!WriteFullyAt(file_.fd(), piece.data(), piece.size(), end_)) {
      PosixErrExit(0, L"Error writing '%s'\n", file_.path());
    }
    end_ += static_cast<off_t>(piece.size());
    piece.clear();
  };
  for (const uint32_t start : starts_) {
    const char* const row = bytes_.data() + start;
    Append(piece, row, HeadOf(row).size());
    if (piece.size() > kRunBuffer) write();
  }
  write();
  run.end = end_;
  runs_.push_back(std::move(run));
  bytes_.clear();
  starts_.clear();
}

// Makes the run's next row whole in its buffer; false when the run has no more.
bool OrderedChanges::Fill(Run& run) {
  const auto whole = [&] {
    const size_t left = run.buffer.size() - run.at;
    return left >= sizeof(Head) && left >= HeadOf(run.buffer.data() + run.at).size();
  };
  while (!whole()) {
    if (run.offset == run.end) return false;
    run.buffer.erase(run.buffer.begin(), run.buffer.begin() + static_cast<std::ptrdiff_t>(run.at));
    run.at = 0;
    const size_t held = run.buffer.size();
    const auto more = std::min<size_t>(kRunBuffer, static_cast<size_t>(run.end - run.offset));
    run.buffer.resize(held + more);
    if (!ReadExactlyAt(file_.fd(), run.buffer.data() + held, more, run.offset)) {
      PosixErrExit(0, L"Error reading '%s'\n", file_.path());
    }
    run.offset += static_cast<off_t>(more);
  }
  return true;
}

void OrderedChanges::Finish() {
  if (runs_.empty()) {
    Sort();
    return;
  }
  Spill();
  bytes_ = {};
  starts_ = {};
  for (size_t i = 0; i < runs_.size(); ++i) {
    if (Fill(runs_[i])) heap_.push_back(i);
  }
}

bool OrderedChanges::Next(ChangeRow& row) {
  const char* bytes = nullptr;
  if (runs_.empty()) {
    if (next_ == starts_.size()) return false;
    bytes = RowAt(next_++);
  } else {
    const auto later = [&](size_t a, size_t b) {
      return Before(runs_[b].buffer.data() + runs_[b].at, runs_[a].buffer.data() + runs_[a].at);
    };
    if (!started_) std::make_heap(heap_.begin(), heap_.end(), later);
    if (started_ && !heap_.empty()) {
      // The row handed out last has been used: its run goes on.
      Run& used = runs_[heap_.back()];
      used.at += HeadOf(used.buffer.data() + used.at).size();
      Fill(used) ? std::push_heap(heap_.begin(), heap_.end(), later) : heap_.pop_back();
    }
    started_ = true;
    if (heap_.empty()) return false;
    std::pop_heap(heap_.begin(), heap_.end(), later);
    bytes = runs_[heap_.back()].buffer.data() + runs_[heap_.back()].at;
  }
  const Head head = HeadOf(bytes);
  row = {head.kind,
         head.before,
         head.after,
         PathOf(bytes, head),
         {bytes + sizeof head + head.pathLength, head.newPathLength},
         head.fault};
  return true;
}

}  // namespace tabulon
