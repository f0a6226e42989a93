#include "detail/dtlformat.h"

#include <algorithm>

namespace tabulon {
namespace {

// Takes a zero-padded field of `width` bytes off the front of `bytes`.
std::string TakeField(std::span<const unsigned char>& bytes, size_t width) {
  const auto field = bytes.first(width);
  bytes = bytes.subspan(width);
  return {field.begin(), std::find(field.begin(), field.end(), 0)};
}

}  // namespace

LogHeader ParseHeader(std::span<const unsigned char, kHeaderSize> bytes) {
  const unsigned char* at = bytes.data();
  return {.magic = LoadU32(at + dtl_at::kMagic),
          .revision = LoadU32(at + dtl_at::kRevision),
          .scanTime = LoadU32(at + dtl_at::kScanTime),
          .tagString = LoadU32(at + dtl_at::kTagString),
          .serverString = LoadU32(at + dtl_at::kServerString),
          .uniqueSds = LoadU32(at + dtl_at::kUniqueSds),
          .sids = LoadU32(at + dtl_at::kSids),
          .securitySection = LoadU64(at + dtl_at::kSecuritySection),
          .idSection = LoadU64(at + dtl_at::kIdSection),
          .flags = LoadU32(at + dtl_at::kFlags),
          .orphanedSids = LoadU32(at + dtl_at::kOrphanedSids),
          .orphanedAsOwner = LoadU32(at + dtl_at::kOrphanedAsOwner)};
}

LogRoot ParseRoot(std::span<const unsigned char, kRootSize> bytes) {
  const auto at = [&](size_t offset) { return bytes.data() + (offset - kHeaderSize); };
  LogRoot root{.totalFileSize = LoadU64(at(dtl_at::kTotalFileSize)),
               .firstRecord = LoadU64(at(dtl_at::kFirstRecord)),
               .rootString = LoadU32(at(dtl_at::kRootString)),
               .shareString = LoadU32(at(dtl_at::kShareString)),
               .directories = LoadU32(at(dtl_at::kDirectories)),
               .emptyDirectories = LoadU32(at(dtl_at::kEmptyDirectories)),
               .files = LoadU32(at(dtl_at::kFiles)),
               .counts = {},
               .hostString = LoadU32(at(dtl_at::kHostString)),
               .qvaRootString = LoadU32(at(dtl_at::kQvaRootString)),
               .availableSpace = LoadU64(at(dtl_at::kAvailableSpace)),
               .volumeCapacity = LoadU64(at(dtl_at::kVolumeCapacity))};
  for (size_t i = 0; i < std::size(root.counts); ++i) {
    root.counts[i] = LoadU32(at(dtl_at::kCounts + sizeof(uint32_t) * i));
  }
  return root;
}

VersionBlock ParseVersion(std::span<const unsigned char, kVersionSize> bytes) {
  std::span<const unsigned char> rest = bytes;
  VersionBlock version;
  version.scanVersion = TakeField(rest, kScanVersionWidth);
  version.buildPlatform = TakeField(rest, kBuildPlatformWidth);
  version.buildArchitecture = TakeField(rest, kBuildArchitectureWidth);
  return version;
}

SidEntry ParseSidEntry(std::span<const unsigned char, SidEntry::kSize> bytes) {
  const unsigned char* at = bytes.data();
  return {.sidLength = LoadU32(at),
          .nameLength = LoadU32(at + 4),
          .domainIndex = LoadU32(at + 8),
          .type = LoadI32(at + 12),
          .firstCount = LoadU32(at + 16),
          .secondCount = LoadU32(at + 20)};
}

IdEntry ParseIdEntry(std::span<const unsigned char, IdEntry::kSize> bytes) {
  const unsigned char* at = bytes.data();
  return {.id = LoadU32(at),
          .kind = LoadU32(at + 4),
          .third = LoadU32(at + 8),
          .nameLength = LoadU32(at + 12)};
}

}  // namespace tabulon
