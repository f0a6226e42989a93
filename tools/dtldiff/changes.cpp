#include "tools/dtldiff/changes.h"

#include <algorithm>

namespace tabulon {
namespace {

constexpr uint64_t kMostBytes = INT64_MAX;  // so that differences are numbers as well

}  // namespace

Changes::Changes(const DiffOptions& options, const QueriedScan& older, const QueriedScan& newer,
                 int rows)
    : options_(options), oldPaths_(older), newPaths_(newer), table_(options, rows) {}

void Changes::TakeInPlace(ChangeKind kind, uint64_t before, uint64_t after,
                          std::string_view directory, std::string_view name) {
  Add(kind, before, after);
  if (options_.summary) return;
  newPaths_.Join(directory, name, path_);
  Show({kind, before, after, path_.text, {}, path_.fault});
}

void Changes::Take(ChangeKind kind, uint64_t before, uint64_t after, const FilePlace& old,
                   const FilePlace& now) {
  Add(kind, before, after);
  if (options_.summary) return;
  const bool moved = kind == ChangeKind::kMoved;
  if (moved || kind == ChangeKind::kVanished) {
    oldPaths_.Find(old, path_);
  } else {
    newPaths_.Find(now, path_);
  }
  if (moved) newPaths_.Find(now, newPath_);
  const char* const fault = moved ? newPath_.fault : path_.fault;
  Show({kind, before, after, path_.text, moved ? newPath_.text : std::string_view(), fault});
}

void Changes::Add(ChangeKind kind, uint64_t before, uint64_t after) {
  ChangeSum& sum = totals_[static_cast<size_t>(kind)];
  ++sum.files;
  sum.before += std::min(std::min(before, kMostBytes), kMostBytes - sum.before);
  sum.after += std::min(std::min(after, kMostBytes), kMostBytes - sum.after);
}

void Changes::Show(const ChangeRow& row) {
  ChangeRow shown = row;
  shown.before = std::min(row.before, kMostBytes);
  shown.after = std::min(row.after, kMostBytes);
  if (options_.scanOrder) {
    table_.Row(shown);
  } else {
    ordered_.Add(shown);
  }
}

void Changes::End() {
  ordered_.Finish();
  for (ChangeRow row; ordered_.Next(row);) {
    if (!table_.Row(row)) break;
  }
  table_.End(totals_);
}

bool Changes::any() const {
  return std::ranges::any_of(totals_, [](const ChangeSum& sum) { return sum.files > 0; });
}

}  // namespace tabulon
