// Names for made-up scans: directories, files with their extensions, and people.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "tools/mkdtl/random.h"

namespace tabulon {

class NameMaker {
 public:
  NameMaker();

  static constexpr uint32_t kExtensions = 360;
  static constexpr uint32_t kNoExtension = kExtensions;

  // A random extension, or kNoExtension. The first ones are far more frequent than the last.
  uint32_t DrawExtension(Random& random) const;

  // Puts a file name of 8 to 40 characters in `out`. `number` sets it apart from the other files
  // of the directory. One name in a hundred has two- or three-byte characters.
  void FileName(Random& random, uint32_t extension, uint32_t number, std::string& out) const;
  // A name as Windows makes for programs that want eight characters and three: "REPO07~1.DOC".
  // REQUIRES: number < 100.
  void ShortName(Random& random, uint32_t number, std::string& out) const;
  // A directory's name; `number` sets it apart.
  void DirectoryName(Random& random, uint32_t number, std::string& out) const;

 private:
  std::vector<std::string> extensions_;  // with the dot
};

// The name of the n-th user and group account.
std::string UserName(uint32_t n);
std::string GroupName(uint32_t n);

}  // namespace tabulon
