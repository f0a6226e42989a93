#include "tools/dtldu/dirtree.h"

#include <algorithm>

#include "base/loganderr.h"
#include "tools/scanreader/texthash.h"

namespace tabulon {
namespace {

constexpr size_t kNameBlock = size_t{1} << 18;

size_t CommonLength(std::string_view a, std::string_view b) {
  const size_t most = std::min(a.size(), b.size());
  return static_cast<size_t>(std::mismatch(a.begin(), a.begin() + most, b.begin()).first -
                             a.begin());
}

// Returns the next part of `path` from `at` on, and moves `at` after it. Skips empty parts; the
// result is empty at the end.
std::string_view NextPart(std::string_view path, char separator, size_t& at) {
  while (at < path.size() && path[at] == separator) ++at;
  const size_t end = std::min(path.find(separator, at), path.size());
  const std::string_view part = path.substr(at, end - at);
  at = end;
  return part;
}

}  // namespace

DirTree::DirTree(char separator, int scans)
    : separator_(separator), seed_(RandomSeed()), sums_(static_cast<size_t>(scans)) {
  Add(kNoDir, {});
  parts_.push_back({0, kRootDir});
}

DirNumber DirTree::Number(std::string_view path) {
  const size_t common = CommonLength(path, last_);
  const auto shared = [&](size_t end) {
    return end <= common && (end == 0 || end == path.size() || path[end] == separator_);
  };
  while (!shared(parts_.back().end)) parts_.pop_back();
  size_t at = parts_.back().end;
  for (std::string_view part; part = NextPart(path, separator_, at), !part.empty();) {
    const DirNumber parent = parts_.back().dir;
    const DirNumber known = Child(parent, part);
    parts_.push_back({at, known != kNoDir ? known : Add(parent, part)});
  }
  last_.assign(path);
  return parts_.back().dir;
}

DirNumber DirTree::Find(std::string_view path) const {
  DirNumber dir = kRootDir;
  size_t at = 0;
  for (std::string_view part; part = NextPart(path, separator_, at), !part.empty();) {
    dir = Child(dir, part);
    if (dir == kNoDir) break;
  }
  return dir;
}

void DirTree::PathOf(DirNumber dir, std::string_view root, std::string& path) const {
  std::vector<DirNumber> above;
  for (; dir != kRootDir; dir = parent(dir)) above.push_back(dir);
  path.assign(root);
  for (; !above.empty(); above.pop_back()) {
    if (!path.ends_with(separator_)) path += separator_;
    path += name(above.back());
  }
  if (path.empty()) path = separator_;
}

void DirTree::AddUp() {
  for (BlockArray<DirSums>& sums : sums_) {
    for (DirNumber dir = 0; dir < size_; ++dir) sums[dir].own = sums[dir].bytes;
    for (DirNumber dir = size_ - 1; dir > kRootDir; --dir) {
      DirSums& above = sums[parent(dir)];
      above.bytes = AddBytes(above.bytes, sums[dir].bytes);
      above.files += sums[dir].files;
      above.newest = std::max(above.newest, sums[dir].newest);
    }
  }
}

uint64_t DirTree::HashOf(DirNumber parent, std::string_view name) const {
  return HashText(MixWords(seed_, parent), name);
}

DirNumber DirTree::Child(DirNumber parent, std::string_view name) const {
  return byName_.Find(HashOf(parent, name), [&](DirNumber each) {
    return dirs_[each].parent == parent && this->name(each) == name;
  });
}

DirNumber DirTree::Add(DirNumber parent, std::string_view name) {
  if (size_ == kNoDir - 1) ErrExit(L"The scan has too many directories\n");
  const DirNumber dir = size_++;
  dirs_.GrowTo(size_);
  for (BlockArray<DirSums>& sums : sums_) sums.GrowTo(size_);
  const auto depth = static_cast<uint16_t>(parent == kNoDir ? 0 : dirs_[parent].depth + 1);
  dirs_[dir] = {KeepName(name), parent, static_cast<uint16_t>(name.size()), depth};
  if (parent != kNoDir) byName_.Add(HashOf(parent, name), dir);
  return dir;
}

// Names are shorter than a block, as the length of a record's name has 16 bits.
const char* DirTree::KeepName(std::string_view name) {
  if (nameRoom_ < name.size()) {
    names_.push_back(std::make_unique_for_overwrite<char[]>(kNameBlock));
    nameAt_ = names_.back().get();
    nameRoom_ = kNameBlock;
  }
  char* const kept = nameAt_;
  name.copy(kept, name.size());
  nameAt_ += name.size();
  nameRoom_ -= name.size();
  return kept;
}

}  // namespace tabulon
