// A class of file extensions made ready for many tests.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "base/template.h"
#include "query/classes.h"

namespace tabulon {

class ExtensionSet {
 public:
  // `ignoreCase`: plain patterns ignore letter case (templates always do).
  ExtensionSet(const FileClass& fileClass, bool ignoreCase);

  // Whether a pattern of the class takes the extension (the text after the last dot of a name).
  bool Contains(std::string_view ascii) const;
  bool Contains(std::wstring_view extension) const;

 private:
  template <class Char>
  bool Search(std::basic_string_view<Char> extension) const;
  bool SearchPacked(std::string_view ascii) const;

  bool ignoreCase_;
  bool packs_;  // letter case stays within ASCII, so packed texts can be compared
  std::vector<std::wstring> plain_;  // folded when letter case is ignored
  std::vector<uint64_t> packed_;     // those of plain_ that are ASCII of up to eight units
  std::vector<CompiledTemplate> templates_;
};

}  // namespace tabulon
