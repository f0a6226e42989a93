#include "tools/dtldu/hardlinks.h"

#include "base/loganderr.h"
#include "tools/scanreader/texthash.h"

namespace tabulon {
namespace {

uint64_t HashOf(uint64_t seed, const LinkedFile& file) {
  const uint64_t times = uint64_t{file.inode} << 32 | file.modified;
  const uint64_t owner = uint64_t{file.uid} << 32 | file.gid;
  return MixWords(MixWords(MixWords(MixWords(seed, times), file.size), owner), file.mode);
}

}  // namespace

HardLinks::HardLinks(const Scan& scan) : known_(!scan.isCifs()), seed_(RandomSeed()) {}

uint32_t HardLinks::NumberOf(const RecordFields& fields, bool& first) {
  const LinkedFile file = {fields.size(),       fields.inode(), fields.modified(),
                           fields.attributes(), fields.uid(),   fields.gid()};
  const uint64_t hash = HashOf(seed_, file);
  const uint32_t known = byFile_.Find(hash, [&](uint32_t i) { return files_[i] == file; });
  first = known == IndexTable::kNone;
  if (!first) return known;
  if (files_.size() == IndexTable::kNone - 1) ErrExit(L"The scan has too many hard links\n");
  files_.push_back(file);
  byFile_.Add(hash, static_cast<uint32_t>(files_.size() - 1));
  return static_cast<uint32_t>(files_.size() - 1);
}

}  // namespace tabulon
