#include "tools/scanwriter/recordbytes.h"

#include <algorithm>

#include "tools/scanwriter/littlebytes.h"

namespace tabulon {
namespace {

constexpr size_t kLongestText = 65535;  // terminator included
constexpr uint32_t kStreamsSince = 7;   // revision

const RecordLayout& LayoutOf(ScanKind kind) {
  return kind == ScanKind::kCifs ? kCifsRecord : kNfsRecord;
}

// Where a record's text of `size` bytes ends, its terminating zero included when it has one.
size_t StoredLength(size_t size, bool terminated) {
  return std::min(size + (terminated ? 1 : 0), kLongestText);
}

// `length` bytes of `text`; when texts are terminated, the last is a zero byte, and the text may be
// cut for it.
void AppendText(std::string& bytes, std::string_view text, size_t length, bool terminated) {
  bytes.append(text.substr(0, terminated ? length - 1 : length));
  if (terminated) bytes += '\0';
}

void AppendFixedPart(std::string& bytes, ScanKind kind, const RecordSpec& record, size_t nameLength,
                     size_t targetLength) {
  char fixed[kCifsRecord.fixedSize] = {};
  const RecordLayout& at = LayoutOf(kind);
  StoreLittle(fixed, record.flags);
  StoreLittle(fixed + at.attributes, record.attributes);
  StoreLittle(fixed + at.created, record.created);
  StoreLittle(fixed + at.accessed, record.accessed);
  StoreLittle(fixed + at.modified, record.modified);
  StoreLittle(fixed + at.size, record.size);
  StoreLittle(fixed + at.uid, record.uid);
  StoreLittle(fixed + at.gid, record.gid);
  StoreLittle(fixed + at.inode, record.inode);
  StoreLittle(fixed + at.links, record.links);
  StoreLittle(fixed + at.nameLength, static_cast<uint16_t>(nameLength));
  if (at.wideTargetLength) {
    StoreLittle(fixed + at.targetLength, static_cast<uint32_t>(targetLength));
    StoreLittle(fixed + at.streamCount, static_cast<uint32_t>(record.streams.size()));
  } else {
    StoreLittle(fixed + at.targetLength, static_cast<uint16_t>(targetLength));
  }
  bytes.append(fixed, at.fixedSize);
}

void AppendStreams(std::string& bytes, const RecordForm& form, const RecordSpec& record) {
  for (const StreamSpec& stream : record.streams) {
    const size_t length = StoredLength(stream.name.size(), form.terminateNames);
    Append16(bytes, static_cast<uint16_t>(length));
    AppendText(bytes, stream.name, length, form.terminateNames);
    Append64(bytes, stream.size);
  }
}

}  // namespace

size_t FixedRecordSize(ScanKind kind) {
  return LayoutOf(kind).fixedSize;
}

// A record is its fixed part, the name, the alternate streams (u16 length, name, u64 size each) and
// the link target.
void AppendRecord(std::string& bytes, const RecordForm& form, const RecordSpec& record) {
  const bool hasTarget = (record.flags & kRecordHasTarget) != 0;
  const size_t nameLength = StoredLength(record.name.size(), form.terminateNames);
  const size_t targetLength =
      hasTarget ? StoredLength(record.target.size(), form.terminateNames) : 0;
  AppendFixedPart(bytes, form.kind, record, nameLength, targetLength);
  AppendText(bytes, record.name, nameLength, form.terminateNames);
  const bool hasStreams = (form.revision & kRevisionMask) >= kStreamsSince;
  if (form.kind == ScanKind::kCifs && hasStreams) AppendStreams(bytes, form, record);
  if (hasTarget) AppendText(bytes, record.target, targetLength, form.terminateNames);
}

void CountFile(FileTotals& totals, ScanKind kind, const RecordSpec& record) {
  ++totals.files;
  totals.bytes += record.size;
  const auto countIf = [&](size_t what, bool applies) { totals.counts[what] += applies ? 1 : 0; };
  const bool isLink = (record.flags & kRecordSymlink) != 0;
  if (kind == ScanKind::kNfs) {
    countIf(kNfsHardLinks, record.links > 1);
    countIf(kNfsSymlinks, isLink);
    return;
  }
  const bool likeDirectory = (record.attributes & kAttrDirectory) != 0;
  countIf(kCifsEncrypted, (record.attributes & kAttrEncrypted) != 0);
  countIf(kCifsCompressed, (record.attributes & kAttrCompressed) != 0);
  countIf(kCifsAdsFiles, (record.flags & kRecordHasStreams) != 0);
  countIf(kCifsOffline, (record.attributes & kAttrOffline) != 0);
  countIf(kCifsHardLinks, record.links > 1);
  countIf(kCifsFileSymlinks, isLink && !likeDirectory);
  countIf(kCifsDirSymlinks, isLink && likeDirectory);
  countIf(kCifsMountPoints, (record.flags & kRecordMountPoint) != 0);
  countIf(kCifsJunctions, (record.flags & kRecordJunction) != 0);
}

void AppendFile(FileRecords& files, const RecordForm& form, const RecordSpec& record) {
  AppendRecord(files.bytes, form, record);
  CountFile(files.totals, form.kind, record);
}

}  // namespace tabulon
