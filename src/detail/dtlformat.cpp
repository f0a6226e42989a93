#include "detail/dtlformat.h"

#include <algorithm>

namespace tabulon {
namespace {

constexpr size_t kScanVersionWidth = 12;
constexpr size_t kBuildPlatformWidth = 32;
constexpr size_t kBuildArchitectureWidth = 32;
static_assert(kScanVersionWidth + kBuildPlatformWidth + kBuildArchitectureWidth == kVersionSize);

// Takes a zero-padded field of `width` bytes off the front of `bytes`.
std::string TakeField(std::span<const unsigned char>& bytes, size_t width) {
  const auto field = bytes.first(width);
  bytes = bytes.subspan(width);
  return {field.begin(), std::find(field.begin(), field.end(), 0)};
}

}  // namespace

LogHeader ParseHeader(std::span<const unsigned char, kHeaderSize> bytes) {
  const unsigned char* at = bytes.data();
  return {.magic = LoadU32(at),
          .revision = LoadU32(at + 4),
          .scanTime = LoadU32(at + 8),
          .tagString = LoadU32(at + 12),
          .serverString = LoadU32(at + 16),
          .uniqueSds = LoadU32(at + 20),
          .sids = LoadU32(at + 28),
          .securitySection = LoadU64(at + 32),
          .idSection = LoadU64(at + 48),
          .flags = LoadU32(at + 64),
          .orphanedSids = LoadU32(at + 68),
          .orphanedAsOwner = LoadU32(at + 72)};
}

LogRoot ParseRoot(std::span<const unsigned char, kRootSize> bytes) {
  const unsigned char* at = bytes.data();
  LogRoot root{.totalFileSize = LoadU64(at),
               .firstRecord = LoadU64(at + 16),
               .rootString = LoadU32(at + 24),
               .shareString = LoadU32(at + 28),
               .directories = LoadU32(at + 48),
               .emptyDirectories = LoadU32(at + 52),
               .files = LoadU32(at + 56),
               .counts = {},
               .hostString = LoadU32(at + 96),
               .qvaRootString = LoadU32(at + 100),
               .availableSpace = LoadU64(at + 104),
               .volumeCapacity = LoadU64(at + 112)};
  for (size_t i = 0; i < std::size(root.counts); ++i) root.counts[i] = LoadU32(at + 60 + 4 * i);
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
