#include "tools/dtlexport/scantexts.h"

#include <cstring>

namespace tabulon {
namespace {

// Kinds of entries in the ID section.
constexpr uint32_t kUserId = 1;
constexpr uint32_t kGroupId = 2;

void AppendUtf(std::string& text, uint32_t code) {
  constexpr unsigned char kLeads[] = {0, 0xC0, 0xE0, 0xF0};  // by number of bytes behind
  int behind = code < 0x80 ? 0 : code < 0x800 ? 1 : code < 0x10000 ? 2 : 3;
  text += static_cast<char>(kLeads[behind] | code >> 6 * behind);
  while (behind-- > 0) text += static_cast<char>(0x80 | (code >> 6 * behind & 0x3F));
}

// A header string, whose units are UTF-16 with their sign extended, as UTF-8. A surrogate without
// its other half gives bytes that are not UTF-8 and are replaced like others.
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

void LoadNames(const Scan& scan, ExportFormat format, ScanTexts& texts) {
  Tree* const idTree = scan.ids->idTree.get();
  for (KeyRecord each = TreeLowKey(idTree); each; each = TreeNextKey(idTree)) {
    const IdObject* object;
    std::memcpy(&object, each.key(), sizeof object);
    if (object->kind != kUserId && object->kind != kGroupId) continue;
    IdNames& names = object->kind == kUserId ? texts.users : texts.groups;
    EscapeText(format, TextOf(object->name), names[object->id]);
  }
}

}  // namespace

ScanTexts::ScanTexts(const Scan& scan, ExportFormat format)
    : hostBytes(UtfOfUnits(scan.fsysHost)), rootBytes(UtfOfUnits(scan.rootPath)) {
  EscapeText(format, hostBytes, host);
  EscapeText(format, rootBytes, root);
  if (!scan.isCifs()) LoadNames(scan, format, *this);
}

}  // namespace tabulon
