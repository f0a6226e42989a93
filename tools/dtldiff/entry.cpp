#include "tools/dtldiff/entry.h"

#include "tools/scanreader/escape.h"
#include "tools/scanreader/texthash.h"

namespace tabulon {
namespace {

// The bits that tell kinds of files apart.
uint32_t TypeOf(uint32_t flags, uint32_t attributes, bool cifs) {
  return (flags & kRecordHasTarget) | (cifs ? 0 : attributes & kModeTypeMask);
}

// Windows: a file keeps its name and its times. Unix: the inode and the time of modification.
uint64_t MoveKeyOf(const RecordView& view, bool cifs, const Seeds& seeds) {
  const RecordFields& fields = view.fields;
  const uint64_t what = cifs ? seeds.OfText(TextOf(view.name)) : fields.inode();
  const uint64_t times = uint64_t{cifs ? fields.created() : 0} << 32 | fields.modified();
  return MixWords(MixWords(seeds.first ^ what, fields.size()), times);
}

}  // namespace

Seeds::Seeds() : first(RandomSeed()), second(MixWords(RandomSeed(), first)) {}

PathDigest Seeds::OfDirectory(std::string_view path) const {
  return {HashText(first, path), HashText(second, path)};
}

PathDigest Seeds::OfFile(const PathDigest& directory, std::string_view name) const {
  return {HashText(directory.first, name), HashText(directory.second, name)};
}

uint64_t Seeds::OfText(std::string_view text) const {
  return HashText(first, text) | 1;
}

FileEntry EntryOf(const RecordView& view, const FilePlace& place, bool cifs, const Seeds& seeds) {
  const RecordFields& fields = view.fields;
  FileEntry entry;
  entry.place = place;
  entry.size = fields.size();
  entry.target = view.hasTarget ? seeds.OfText(TextOf(view.target)) : 0;
  entry.moveKey = MoveKeyOf(view, cifs, seeds);
  entry.flags = fields.flags();
  entry.attributes = fields.attributes();
  entry.created = fields.created();
  entry.accessed = fields.accessed();
  entry.modified = fields.modified();
  entry.uid = fields.uid();
  entry.gid = fields.gid();
  entry.inode = fields.inode();
  entry.links = fields.links();
  return entry;
}

ComparedState StateOf(const RecordFields& fields, bool cifs) {
  return {fields.size(),
          fields.modified(),
          TypeOf(fields.flags(), fields.attributes(), cifs),
          fields.attributes(),
          cifs ? 0 : fields.uid(),
          cifs ? 0 : fields.gid(),
          fields.accessed()};
}

ComparedState StateOf(const FileEntry& entry, bool cifs) {
  return {entry.size,       entry.modified,       TypeOf(entry.flags, entry.attributes, cifs),
          entry.attributes, cifs ? 0 : entry.uid, cifs ? 0 : entry.gid,
          entry.accessed};
}

std::optional<ChangeKind> ChangeOf(const ComparedState& before, const ComparedState& after,
                                   bool sameTarget, bool metadata) {
  if (after.size > before.size) return ChangeKind::kGrew;
  if (after.size < before.size) return ChangeKind::kShrank;
  if (after.modified != before.modified || after.type != before.type || !sameTarget) {
    return ChangeKind::kRewritten;
  }
  const bool same = after.attributes == before.attributes && after.uid == before.uid &&
                    after.gid == before.gid && after.accessed == before.accessed;
  if (metadata && !same) return ChangeKind::kChanged;
  return std::nullopt;
}

bool MayBeMoved(const FileEntry& before, const FileEntry& after, bool cifs) {
  const bool same = before.size == after.size && before.modified == after.modified;
  if (cifs) return same && before.created == after.created;
  return same && before.inode == after.inode && before.inode != 0;
}

bool AreLinked(const FileEntry& a, const FileEntry& b) {
  return a.links > 1 && b.links > 1 && a.inode == b.inode && a.size == b.size &&
         a.modified == b.modified && a.attributes == b.attributes && a.uid == b.uid &&
         a.gid == b.gid;
}

}  // namespace tabulon
