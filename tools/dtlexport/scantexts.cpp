#include "tools/dtlexport/scantexts.h"

#include "tools/scanreader/rootpath.h"

namespace tabulon {
namespace {

// Kinds of entries in the ID section.
constexpr uint32_t kUserId = 1;
constexpr uint32_t kGroupId = 2;

// Of several entries for one ID the first counts.
void LoadNames(const Scan& scan, ExportFormat format, ScanTexts& texts) {
  ReadIds(scan.dtlFile.get(), scan.logHdr, texts.pool, [&](const IdObject& id) {
    if (id.kind != kUserId && id.kind != kGroupId) return;
    IdNames& names = id.kind == kUserId ? texts.users : texts.groups;
    const auto [name, isNew] = names.try_emplace(id.id);
    if (isNew) EscapeText(format, TextOf(id.name), name->second);
  });
}

}  // namespace

ScanTexts::ScanTexts(const Scan& scan, ExportFormat format)
    : hostBytes(UtfOfUnits(scan.fsysHost)), rootBytes(UtfOfUnits(scan.rootPath)) {
  EscapeText(format, hostBytes, host);
  EscapeText(format, rootBytes, root);
  if (!scan.isCifs()) LoadNames(scan, format, *this);
}

}  // namespace tabulon
