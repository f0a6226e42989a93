#include "tools/dtldiff/leftovers.h"

#include <algorithm>
#include <string>
#include <utility>

namespace tabulon {
namespace {

// Names of one file that are paired; more are told as vanished and appeared.
constexpr size_t kMostNames = 10'000;

// Entries of a spool, in groups of one key.
template <class Spool>
class Groups {
 public:
  explicit Groups(Spool& spool) : spool_(spool), any_(spool.Next(next_)) {}
  bool any() const { return any_; }
  uint64_t key() const { return next_.moveKey; }
  // Takes the entries with this key. Those beyond the limit go to `rest`, and the result is false.
  template <class Rest>
  bool Take(uint64_t key, std::vector<FileEntry>& group, Rest&& rest) {
    group.clear();
    bool all = true;
    for (; any_ && next_.moveKey == key; any_ = spool_.Next(next_)) {
      all = all && group.size() < kMostNames;
      all ? group.push_back(next_) : rest(next_);
    }
    return all;
  }

 private:
  Spool& spool_;
  FileEntry next_;
  bool any_;
};

bool AllLinked(const std::vector<FileEntry>& group) {
  return std::ranges::all_of(group, [&](const FileEntry& e) { return AreLinked(group[0], e); });
}

}  // namespace

Leftovers::Leftovers(const DiffOptions& options, bool cifs, Changes& changes)
    : options_(options),
      cifs_(cifs),
      changes_(changes),
      old_(options.held, "dtldiff.tmp"),
      now_(options.held, "dtldiff.tmp"),
      vanished_(options.held, "dtldiff.tmp"),
      appeared_(options.held, "dtldiff.tmp"),
      late_(options.held, "dtldiff.tmp") {}

void Leftovers::Pair(const FileEntry& old, const FileEntry& now) {
  const auto kind = ChangeOf(StateOf(old, cifs_), StateOf(now, cifs_), old.target == now.target,
                             options_.metadata);
  if (!kind || !changes_.Wants(*kind, now.passes != 0)) return;
  late_.Add({*kind, old.size, now.size, old.place, now.place});
}

void Leftovers::Finish() {
  PairByPath();
  if (options_.moves) PairByMove();
  late_.Finish();
  for (LateChange change; late_.Next(change);) {
    changes_.Take(change.kind, change.before, change.after, change.old, change.now);
  }
}

void Leftovers::PairByPath() {
  old_.Finish();
  now_.Finish();
  FileEntry old, now;
  bool anyOld = old_.Next(old), anyNew = now_.Next(now);
  while (anyOld || anyNew) {
    if (anyOld && anyNew && old.path == now.path) {
      Pair(old, now);
      anyOld = old_.Next(old);
      anyNew = now_.Next(now);
    } else if (anyOld && (!anyNew || old.path < now.path)) {
      options_.moves ? vanished_.Add(old) : Vanished(old);
      anyOld = old_.Next(old);
    } else {
      options_.moves ? appeared_.Add(now) : Appeared(now);
      anyNew = now_.Next(now);
    }
  }
  old_.Release();
  now_.Release();
}

void Leftovers::PairByMove() {
  vanished_.Finish();
  appeared_.Finish();
  Groups olds(vanished_);
  Groups nows(appeared_);
  Group old, now;
  while (olds.any() || nows.any()) {
    const uint64_t key = !nows.any()   ? olds.key()
                         : !olds.any() ? nows.key()
                                       : std::min(olds.key(), nows.key());
    bool all = olds.Take(key, old, [&](const FileEntry& e) { Vanished(e); });
    all = nows.Take(key, now, [&](const FileEntry& e) { Appeared(e); }) && all;
    if (all) Resolve(old, now);
    for (const FileEntry& entry : old) Vanished(entry);
    for (const FileEntry& entry : now) Appeared(entry);
  }
  vanished_.Release();
  appeared_.Release();
}

// Takes those out of the two groups that are one file each: the only ones, or the names of one file
// in the order of their paths.
void Leftovers::Resolve(Group& old, Group& now) {
  if (old.empty() || now.empty() || !MayBeMoved(old[0], now[0], cifs_)) return;
  const bool single = old.size() == 1 && now.size() == 1;
  if (!single && (cifs_ || !AllLinked(old) || !AllLinked(now))) return;
  if (!single &&
      !(OrderByPath(old, changes_.oldPaths()) && OrderByPath(now, changes_.newPaths()))) {
    return;
  }
  const size_t pairs = std::min(old.size(), now.size());
  for (size_t i = 0; i < pairs; ++i) Moved(old[i], now[i]);
  old.erase(old.begin(), old.begin() + static_cast<std::ptrdiff_t>(pairs));
  now.erase(now.begin(), now.begin() + static_cast<std::ptrdiff_t>(pairs));
}

// False when the paths are too long to be held.
bool Leftovers::OrderByPath(Group& group, RecordPaths& paths) {
  constexpr size_t kMostBytes = size_t{32} << 20;
  std::vector<std::pair<std::string, FileEntry>> named;
  size_t bytes = 0;
  FoundPath path;
  for (const FileEntry& entry : group) {
    paths.Find(entry.place, path);
    bytes += path.text.size();
    if (bytes > kMostBytes) return false;
    named.emplace_back(path.text, entry);
  }
  std::ranges::stable_sort(named, {},
                           [](const auto& each) { return std::string_view(each.first); });
  for (size_t i = 0; i < group.size(); ++i) group[i] = named[i].second;
  return true;
}

void Leftovers::Vanished(const FileEntry& entry) {
  if (!changes_.Wants(ChangeKind::kVanished, entry.passes != 0)) return;
  late_.Add({ChangeKind::kVanished, entry.size, 0, entry.place, {}});
}

void Leftovers::Appeared(const FileEntry& entry) {
  if (!changes_.Wants(ChangeKind::kAppeared, entry.passes != 0)) return;
  late_.Add({ChangeKind::kAppeared, 0, entry.size, {}, entry.place});
}

void Leftovers::Moved(const FileEntry& old, const FileEntry& now) {
  if (!changes_.Wants(ChangeKind::kMoved, now.passes != 0)) return;
  late_.Add({ChangeKind::kMoved, old.size, now.size, old.place, now.place});
}

}  // namespace tabulon
