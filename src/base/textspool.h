// Sorts any number of entries of different sizes within a memory limit: what exceeds it goes to a
// temporary file in sorted runs. For plain entries of one size there is SortedSpool.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include "base/sortedruns.h"

namespace tabulon {

// `Form`: as for SortedRuns, with `uint64_t Rank(const char*) const`, a number that never falls
// from one entry to the next in the order. Most comparisons need no more than that.
template <class Form>
class TextSpool {
 public:
  // Holds about `limit` bytes of entries in memory, less than 4 GiB; a temporary file is named
  // after `name`.
  TextSpool(size_t limit, const char* name, Form form = Form())
      : limit_(limit), form_(form), runs_(name, form) {}

  bool empty() const { return places_.empty() && runs_.empty(); }
  // Adds an entry in two parts.
  void Add(const void* head, size_t headSize, std::string_view text) {
    if (bytes_.size() + headSize + text.size() > limit_) SpillRun();
    const auto at = static_cast<uint32_t>(bytes_.size());
    const char* from = static_cast<const char*>(head);
    bytes_.insert(bytes_.end(), from, from + headSize);
    bytes_.insert(bytes_.end(), text.begin(), text.end());
    places_.push_back({form_.Rank(bytes_.data() + at), at});
  }
  // Takes over the entries of `other`, which has none any more.
  void Merge(TextSpool& other) {
    if (!other.runs_.empty()) {
      SpillRun();
      runs_.Adopt(other.runs_);
    }
    for (const Place& place : other.places_) {
      const char* entry = other.bytes_.data() + place.at;
      Add(entry, form_.Size(entry), {});
    }
    other.Clear();
  }

  // Ends the adding; the first entry in order is the next to be read.
  void Finish() {
    if (runs_.empty()) return Sort();
    SpillRun();
    Clear();
    runs_.Start();
  }
  // The next entry in order; null after the last one. Valid until the next call.
  const char* Next() {
    if (!runs_.empty()) return runs_.Next();
    return read_ < places_.size() ? bytes_.data() + places_[read_++].at : nullptr;
  }

 private:
  struct Place {
    uint64_t rank;
    uint32_t at;  // in bytes_
  };

  void Sort() {
    std::sort(places_.begin(), places_.end(), [this](const Place& a, const Place& b) {
      if (a.rank != b.rank) return a.rank < b.rank;
      return form_.Less(bytes_.data() + a.at, bytes_.data() + b.at);
    });
  }
  void SpillRun() {
    Sort();
    for (const Place& place : places_) {
      const char* entry = bytes_.data() + place.at;
      runs_.Append(entry, form_.Size(entry));
    }
    runs_.EndRun();
    bytes_.clear();
    places_.clear();
  }
  // Gives the memory back.
  void Clear() {
    bytes_ = {};
    places_ = {};
  }

  size_t limit_;
  [[no_unique_address]] Form form_;
  std::vector<char> bytes_;    // the entries, one after the other
  std::vector<Place> places_;  // where each begins
  size_t read_ = 0;            // places_ handed out
  SortedRuns<Form> runs_;
};

}  // namespace tabulon
