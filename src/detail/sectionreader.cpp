#include "detail/sectionreader.h"

namespace tabulon {

bool SectionReader::ReadText(uint32_t size, Pool& pool, std::wstring_view& text) {
  if (size > left()) return false;
  text = {};
  if (size < sizeof(wchar_t)) return Skip(size);
  const size_t length = size / sizeof(wchar_t);
  auto* units = static_cast<wchar_t*>(pool.allocate(length * sizeof(wchar_t), alignof(wchar_t)));
  if (!Read(units, length * sizeof(wchar_t))) return false;
  text = {units, length};
  text = text.substr(0, text.find(L'\0'));
  return Skip(size % sizeof(wchar_t));
}

}  // namespace tabulon
