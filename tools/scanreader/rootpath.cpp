#include "tools/scanreader/rootpath.h"

namespace tabulon {
namespace {

void AppendUtf(std::string& text, uint32_t code) {
  constexpr unsigned char kLeads[] = {0, 0xC0, 0xE0, 0xF0};  // by number of bytes that follow
  int behind = code < 0x80 ? 0 : code < 0x800 ? 1 : code < 0x10000 ? 2 : 3;
  text += static_cast<char>(kLeads[behind] | code >> 6 * behind);
  while (behind-- > 0) text += static_cast<char>(0x80 | (code >> 6 * behind & 0x3F));
}

}  // namespace

std::string UtfOfUnits(const std::wstring& units) {
  std::string text;
  for (size_t i = 0; i < units.size(); ++i) {
    uint32_t code = static_cast<uint32_t>(units[i]) & 0xFFFF;
    const uint32_t next = i + 1 < units.size() ? static_cast<uint32_t>(units[i + 1]) & 0xFFFF : 0;
    if ((code & 0xFC00) == 0xD800 && (next & 0xFC00) == 0xDC00) {
      code = 0x10000 + ((code & 0x3FF) << 10) + (next & 0x3FF);
      ++i;
    }
    AppendUtf(text, code);
  }
  return text;
}

void JoinRoot(char separator, std::string_view root, std::string_view directory,
              std::string& path) {
  path.assign(root);
  const bool isRoot = directory.size() == 1 && directory.front() == separator;
  if (root.ends_with(separator) && directory.starts_with(separator)) directory.remove_prefix(1);
  if (root.empty() || !isRoot) path += directory;
}

}  // namespace tabulon
