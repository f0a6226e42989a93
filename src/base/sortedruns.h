// Runs of sorted entries in a temporary file, which are merged while they are read back.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "base/spoolfile.h"

namespace tabulon {

// `Form` knows the entries, which are plain bytes without alignment: `kHead`, the bytes that tell
// the size of one; `size_t Size(const char*) const`, that size, from them; and the order,
// `bool Less(const char*, const char*) const`.
template <class Form>
class SortedRuns {
 public:
  // A temporary file is named after `name`.
  explicit SortedRuns(const char* name, Form form = Form()) : name_(name), form_(form) {}

  bool empty() const { return runs_.empty(); }
  // Appends entries, one or several, to the run that is written. They follow the run's order.
  void Append(const void* entries, size_t bytes) {
    if (pending_.size() + bytes > kWriteBuffer) Flush();
    if (bytes > kWriteBuffer) return Write(entries, bytes);
    const char* from = static_cast<const char*>(entries);
    pending_.insert(pending_.end(), from, from + bytes);
  }
  // Ends the run; what is appended next begins another.
  void EndRun() {
    Flush();
    if (end_ > begin_) runs_.push_back({files_.size() - 1, begin_, end_ - begin_, {}});
    begin_ = end_;
    pending_.shrink_to_fit();
  }
  // Takes over the runs of `other`, which has none any more. REQUIRES: both are between two runs.
  void Adopt(SortedRuns& other) {
    for (Run& run : other.runs_) {
      run.file += files_.size();
      runs_.push_back(std::move(run));
    }
    std::move(other.files_.begin(), other.files_.end(), std::back_inserter(files_));
    other = SortedRuns(other.name_, other.form_);
    begin_ = end_ = 0;
    closed_ = true;
  }

  // Ends the writing; the first entry in order is the next to be read.
  void Start() {
    runBuffer_ = std::clamp(kMergeMemory / std::max<size_t>(runs_.size(), 1), kLeastRunBuffer,
                            kMostRunBuffer);
    for (size_t i = 0; i < runs_.size(); ++i) {
      if (Ready(runs_[i])) heap_.push_back(i);
    }
    std::make_heap(heap_.begin(), heap_.end(), Later());
  }
  // The next entry in order; null after the last one. Valid until the next call.
  const char* Next() {
    if (handedOut_) Advance();
    if (heap_.empty()) return nullptr;
    std::pop_heap(heap_.begin(), heap_.end(), Later());
    handedOut_ = true;
    return runs_[heap_.back()].next();
  }

 private:
  struct Run {
    size_t file;
    uint64_t offset;  // of what is to be read next from the file
    uint64_t left;    // bytes still in the file
    std::vector<char> buffer;
    size_t at = 0;  // next entry of the buffer
    size_t have() const { return buffer.size() - at; }
    const char* next() const { return buffer.data() + at; }
  };
  static constexpr size_t kWriteBuffer = 256 * 1024;
  // The runs share so much memory for what they read ahead, each within bounds: many runs read
  // little at a time, few gain nothing from more.
  static constexpr size_t kMergeMemory = size_t{32} << 20;
  static constexpr size_t kLeastRunBuffer = 4 * 1024;
  static constexpr size_t kMostRunBuffer = 64 * 1024;

  // Heap order of runs by their next entries: the lowest on top.
  auto Later() const {
    return [this](size_t a, size_t b) { return form_.Less(runs_[b].next(), runs_[a].next()); };
  }

  void Flush() {
    if (!pending_.empty()) Write(pending_.data(), pending_.size());
    pending_.clear();
  }
  void Write(const void* bytes, size_t size) {
    if (files_.empty() || closed_) {
      files_.emplace_back().CreateOrEnd(name_);
      closed_ = false;
    }
    files_.back().Write(bytes, size, end_);
    end_ += size;
  }

  // Goes after the entry handed out last.
  void Advance() {
    Run& run = runs_[heap_.back()];
    run.at += form_.Size(run.next());
    if (Ready(run)) {
      std::push_heap(heap_.begin(), heap_.end(), Later());
    } else {
      heap_.pop_back();
    }
    handedOut_ = false;
  }
  // Brings the run's next entry into its buffer as a whole; false when there is none.
  bool Ready(Run& run) {
    if (!Fill(run, Form::kHead)) return false;
    return Fill(run, form_.Size(run.next()));
  }
  // Sees to `need` bytes in the buffer; false when the run has ended.
  bool Fill(Run& run, size_t need) {
    if (run.have() >= need) return true;
    if (run.have() == 0 && run.left == 0) return false;
    if (need - run.have() > run.left) files_[run.file].Damaged();
    run.buffer.erase(run.buffer.begin(), run.buffer.begin() + static_cast<ptrdiff_t>(run.at));
    run.at = 0;
    const size_t held = run.buffer.size();
    const auto more = std::min<uint64_t>(run.left, std::max(runBuffer_, need) - held);
    run.buffer.resize(held + more);
    files_[run.file].Read(run.buffer.data() + held, more, run.offset);
    run.offset += more;
    run.left -= more;
    return true;
  }

  const char* name_;
  [[no_unique_address]] Form form_;
  std::vector<ClosedTempFile> files_;  // the last one is written
  bool closed_ = false;                // the last one is not written any more
  uint64_t begin_ = 0;                 // of the run that is written, in its file
  uint64_t end_ = 0;
  std::vector<char> pending_;  // bytes still to be written
  std::vector<Run> runs_;
  std::vector<size_t> heap_;
  size_t runBuffer_ = 0;
  bool handedOut_ = false;  // an entry of the run at the heap's end
};

}  // namespace tabulon
