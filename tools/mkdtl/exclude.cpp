#include "tools/mkdtl/exclude.h"

#include <fnmatch.h>

#include <algorithm>
#include <utility>

namespace tabulon {
namespace {

bool MatchAny(const std::vector<std::string>& patterns, const char* text) {
  return std::any_of(patterns.begin(), patterns.end(), [text](const std::string& pattern) {
    return fnmatch(pattern.c_str(), text, 0) == 0;
  });
}

}  // namespace

void Excludes::Add(std::string pattern) {
  const bool hasSlash = pattern.find('/') != std::string::npos;
  (hasSlash ? byPath_ : byName_).push_back(std::move(pattern));
}

bool Excludes::Match(std::string_view path, std::string_view name, std::string& scratch) const {
  if (MatchAny(byName_, name.data())) return true;
  if (byPath_.empty()) return false;
  scratch = path;
  if (path.size() > 1) scratch += '/';
  scratch += name;
  return MatchAny(byPath_, scratch.c_str());
}

}  // namespace tabulon
