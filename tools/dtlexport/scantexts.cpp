#include "tools/dtlexport/scantexts.h"

#include <cstring>

#include "tools/scanreader/rootpath.h"

namespace tabulon {
namespace {

// Kinds of entries in the ID section.
constexpr uint32_t kUserId = 1;
constexpr uint32_t kGroupId = 2;

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
