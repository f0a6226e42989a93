// What a walk leaves out because the caller wants no part of it.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace tabulon {

// Shell patterns (fnmatch(3), where '*' and '?' match '/', too), bytes for characters. A pattern
// with a slash is matched against the path from the root, which begins with "/", any other against
// the name.
class Excludes {
 public:
  void Add(std::string pattern);
  bool empty() const { return byName_.empty() && byPath_.empty(); }

  // Whether an entry of the directory `path` ("/" is the root) is left out. `name` must end in a
  // zero byte. `scratch` takes the entry's path where one is needed.
  bool Match(std::string_view path, std::string_view name, std::string& scratch) const;

 private:
  std::vector<std::string> byName_;
  std::vector<std::string> byPath_;
};

}  // namespace tabulon
