// Named classes of file extensions: made by the configuration, tested by queries.
#pragma once

#include <cstdint>
#include <list>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "base/template.h"

namespace tabulon {

struct ClassPattern {
  bool wildcard = false;  // text is a coded template (base/template.h), else plain text
  std::wstring text;      // an extension without its dot
};

struct FileClass {
  std::wstring name;  // case kept as written
  std::vector<ClassPattern> patterns;
};

class Classes {
 public:
  Classes() = default;
  Classes(Classes&&) = default;
  Classes& operator=(Classes&&) = default;

  // In definition order. Queries look at them; nothing is removed.
  const std::list<FileClass>& classList() const { return classList_; }
  // Adds a class; null when there is one of that name, letter case ignored.
  FileClass* Add(std::wstring_view name);
  // The class of that name, letter case ignored; null when there is none.
  const FileClass* Find(std::wstring_view name) const;

 private:
  std::list<FileClass> classList_;
  std::map<std::wstring, const FileClass*> byName_;  // by folded names
};

// A class made ready for many tests.
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
