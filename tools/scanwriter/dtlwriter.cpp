#include "tools/scanwriter/dtlwriter.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

#include "tools/scanwriter/littlebytes.h"

namespace tabulon {
namespace {

constexpr size_t kFlushAt = size_t{1} << 20;
constexpr size_t kLongestHeaderString = 32766;  // readers take the length as a signed number

bool HasVersionBlock(const ScanSpec& spec) {
  return (spec.revision & kRevisionMask) == 8;
}

// A text of `width` bytes, cut or padded with zeros.
void PutPadded(std::string& block, size_t at, size_t width, const std::string& text) {
  std::memcpy(block.data() + at, text.data(), std::min(width, text.size()));
}

std::string HeaderBlock(const LogHeader& header) {
  std::string block(kHeaderSize, '\0');
  Store32(block, dtl_at::kMagic, header.magic);
  Store32(block, dtl_at::kRevision, header.revision);
  Store32(block, dtl_at::kScanTime, header.scanTime);
  Store32(block, dtl_at::kTagString, header.tagString);
  Store32(block, dtl_at::kServerString, header.serverString);
  Store32(block, dtl_at::kUniqueSds, header.uniqueSds);
  Store32(block, dtl_at::kSids, header.sids);
  Store64(block, dtl_at::kSecuritySection, header.securitySection);
  Store64(block, dtl_at::kIdSection, header.idSection);
  Store32(block, dtl_at::kFlags, header.flags);
  Store32(block, dtl_at::kOrphanedSids, header.orphanedSids);
  Store32(block, dtl_at::kOrphanedAsOwner, header.orphanedAsOwner);
  return block;
}

// The root block after a header of zeros, so that the file offsets of its fields hold.
std::string RootBlock(const LogRoot& root) {
  std::string block(kHeaderSize + kRootSize, '\0');
  Store64(block, dtl_at::kTotalFileSize, root.totalFileSize);
  Store64(block, dtl_at::kFirstRecord, root.firstRecord);
  Store32(block, dtl_at::kRootString, root.rootString);
  Store32(block, dtl_at::kShareString, root.shareString);
  Store32(block, dtl_at::kDirectories, root.directories);
  Store32(block, dtl_at::kEmptyDirectories, root.emptyDirectories);
  Store32(block, dtl_at::kFiles, root.files);
  for (size_t i = 0; i < std::size(root.counts); ++i) {
    Store32(block, dtl_at::kCounts + 4 * i, root.counts[i]);
  }
  Store32(block, dtl_at::kHostString, root.hostString);
  Store32(block, dtl_at::kQvaRootString, root.qvaRootString);
  Store64(block, dtl_at::kAvailableSpace, root.availableSpace);
  Store64(block, dtl_at::kVolumeCapacity, root.volumeCapacity);
  return block.substr(kHeaderSize);
}

std::string VersionBytes(const VersionBlock& version) {
  std::string block(dtl_at::kScanVersion + kVersionSize, '\0');
  PutPadded(block, dtl_at::kScanVersion, kScanVersionWidth, version.scanVersion);
  PutPadded(block, dtl_at::kBuildPlatform, kBuildPlatformWidth, version.buildPlatform);
  PutPadded(block, dtl_at::kBuildArchitecture, kBuildArchitectureWidth, version.buildArchitecture);
  return block.substr(dtl_at::kScanVersion);
}

}  // namespace

DtlWriter::DtlWriter(DtlSink& sink, ScanSpec spec)
    : sink_(sink), spec_(std::move(spec)), form_{spec_.kind, spec_.revision, spec_.terminateNames} {
  buffer_.reserve(kFlushAt + kFlushAt / 4);
  buffer_.append(kHeaderSize + kRootSize + (HasVersionBlock(spec_) ? kVersionSize : 0), '\0');
  PutHeaderStrings();
  root_.firstRecord = position();
}

void DtlWriter::PutHeaderStrings() {
  header_.tagString = PutHeaderString(spec_.tag);
  header_.serverString = PutHeaderString(spec_.server);
  root_.rootString = PutHeaderString(spec_.rootPath);
  if (spec_.share) root_.shareString = PutHeaderString(*spec_.share);
  if (spec_.host) root_.hostString = PutHeaderString(*spec_.host);
  if (spec_.qvaRoot) root_.qvaRootString = PutHeaderString(*spec_.qvaRoot);
}

// A header string is a u16 byte length, then UTF-16 units with a terminating zero unit, counted.
uint32_t DtlWriter::PutHeaderString(std::string_view text) {
  const auto offset = static_cast<uint32_t>(position());
  std::string units = Utf16Bytes(text);
  units.resize(std::min(units.size(), kLongestHeaderString - 2));
  units.append(2, '\0');
  Append16(buffer_, static_cast<uint16_t>(units.size()));
  buffer_ += units;
  return offset;
}

void DtlWriter::Add(const RecordSpec& record) {
  AppendRecord(buffer_, form_, record);
  if ((record.flags & kRecordDirectory) != 0) {
    CountDirectory(record);
  } else {
    FileTotals totals;
    CountFile(totals, form_.kind, record);
    CountFiles(totals);
  }
  if (buffer_.size() >= kFlushAt) Flush();
}

void DtlWriter::AddFiles(const FileRecords& files) {
  if (files.totals.files == 0) return;
  buffer_ += files.bytes;
  CountFiles(files.totals);
  if (buffer_.size() >= kFlushAt) Flush();
}

void DtlWriter::CountFiles(const FileTotals& totals) {
  lastDirectoryEmpty_ = false;
  root_.files += totals.files;
  root_.totalFileSize += totals.bytes;
  for (size_t i = 0; i < std::size(totals.counts); ++i) root_.counts[i] += totals.counts[i];
}

void DtlWriter::CountDirectory(const RecordSpec& record) {
  ++root_.directories;
  const char separator = spec_.kind == ScanKind::kCifs ? '\\' : '/';
  const std::string& last = lastDirectory_;
  const bool below = record.name.size() > last.size() && record.name.starts_with(last) &&
                     (last.ends_with(separator) || record.name[last.size()] == separator);
  if (lastDirectoryEmpty_ && !below) ++root_.emptyDirectories;
  lastDirectory_ = record.name;
  lastDirectoryEmpty_ = true;
}

bool DtlWriter::Finish() {
  buffer_ += spec_.rawRecords;
  if (spec_.endMarker) {
    Append32(buffer_, kRecordEnd);
    buffer_.append(FixedRecordSize(form_.kind) - 4, '\0');
  }
  if (lastDirectoryEmpty_) ++root_.emptyDirectories;
  if (spec_.kind == ScanKind::kCifs) {
    PutSecuritySection();
  } else {
    PutIdSection();
  }
  buffer_ += spec_.tail;
  Flush();
  PutBlocks();
  return good();
}

// Counts, each followed by its entries: descriptors, domains, SIDs.
void DtlWriter::PutSecuritySection() {
  header_.uniqueSds = static_cast<uint32_t>(spec_.descriptors.size());
  header_.sids = static_cast<uint32_t>(spec_.sids.size());
  if (spec_.descriptors.empty() && spec_.domains.empty() && spec_.sids.empty()) return;
  header_.securitySection = position();
  const auto putSized = [&](const std::string& bytes) {
    Append32(buffer_, static_cast<uint32_t>(bytes.size()));
    buffer_ += bytes;
  };
  Append32(buffer_, static_cast<uint32_t>(spec_.descriptors.size()));
  for (const std::string& descriptor : spec_.descriptors) putSized(descriptor);
  Append32(buffer_, static_cast<uint32_t>(spec_.domains.size()));
  for (const std::string& domain : spec_.domains) putSized(Utf32Text(domain));
  Append32(buffer_, static_cast<uint32_t>(spec_.sids.size()));
  for (const SidSpec& sid : spec_.sids) {
    const std::string name = Utf32Text(sid.name);
    Append32(buffer_, static_cast<uint32_t>(sid.sid.size()));
    Append32(buffer_, static_cast<uint32_t>(name.size()));
    Append32(buffer_, sid.domain);
    Append32(buffer_, static_cast<uint32_t>(sid.type));
    Append32(buffer_, sid.firstCount);
    Append32(buffer_, sid.secondCount);
    buffer_ += sid.sid;
    buffer_ += name;
  }
}

void DtlWriter::PutIdSection() {
  if (spec_.ids.empty()) return;
  header_.idSection = position();
  Append32(buffer_, static_cast<uint32_t>(spec_.ids.size()));
  for (const IdSpec& id : spec_.ids) {
    Append32(buffer_, id.id);
    Append32(buffer_, id.kind);
    Append32(buffer_, id.third);
    Append32(buffer_, static_cast<uint32_t>(id.name.size()));
    buffer_ += id.name;
  }
}

void DtlWriter::PutBlocks() {
  header_.magic = spec_.magic;
  header_.revision = spec_.revision;
  header_.scanTime = spec_.scanTime;
  header_.flags = spec_.flags | (spec_.kind == ScanKind::kNfs ? kHeaderNfs : 0);
  header_.orphanedSids = spec_.orphanedSids;
  header_.orphanedAsOwner = spec_.orphanedAsOwner;
  root_.availableSpace = spec_.availableSpace;
  root_.volumeCapacity = spec_.volumeCapacity;
  if (spec_.adjust) spec_.adjust(header_, root_);
  std::string blocks = HeaderBlock(header_) + RootBlock(root_);
  if (HasVersionBlock(spec_)) blocks += VersionBytes(spec_.version);
  if (good() && !sink_.Overwrite(0, blocks)) error_ = errno;
}

void DtlWriter::Flush() {
  flushed_ += buffer_.size();
  if (good() && !sink_.Append(buffer_)) error_ = errno;
  buffer_.clear();
}

std::string BinarySid(uint64_t authority, const std::vector<uint32_t>& subAuthorities) {
  std::string sid = {1, static_cast<char>(subAuthorities.size())};
  for (int shift = 40; shift >= 0; shift -= 8) sid += static_cast<char>(authority >> shift);
  for (const uint32_t part : subAuthorities) Append32(sid, part);
  return sid;
}

}  // namespace tabulon
