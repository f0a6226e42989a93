// Named classes of file extensions: made by the configuration, tested by queries.
#pragma once

#include <list>
#include <string>
#include <string_view>
#include <vector>

namespace tabulon {

struct ClassPattern {
  bool wildcard = false;  // text is a coded template (base/template.h), else plain text
  std::wstring text;      // an extension without its dot
};

struct FileClass {
  std::wstring name;  // case kept as written
  std::vector<ClassPattern> patterns;
};

struct Classes {
  // In definition order. Queries look at them; nothing is removed.
  std::list<FileClass> classList;

  // The class of that name, letter case ignored; null when there is none.
  const FileClass* Find(std::wstring_view name) const;
};

}  // namespace tabulon
