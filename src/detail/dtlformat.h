// The layout of a scan detail file: every offset of the header, the root block, the version block,
// the detail records and the security and ID sections, drawn once, where they are read.
//
//   0    header (88 bytes)
//   88   root block (120 bytes)
//   208  version block (76 bytes), only in revision 8
//   ...  header strings, records, security or ID section, at offsets that the blocks name
//
// Integers are little-endian and unaligned, offsets count from the start of the file, times are
// seconds since 1970-01-01 00:00 UTC.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

#include "base/bytes.h"

namespace tabulon {

inline constexpr size_t kHeaderSize = 88;
inline constexpr size_t kRootSize = 120;
inline constexpr size_t kVersionSize = 76;

inline constexpr uint32_t kMagicIncomplete = 0x4C544449;  // "IDTL": the scan did not finish
inline constexpr uint32_t kMagicFinished = 0x4C544446;    // "FDTL"
inline constexpr uint32_t kMagicBeta = 0x4C544443;        // "CDTL": finished, early scanner line

inline constexpr uint32_t kRevisionMask = 0xFF;           // low byte: 6, 7 or 8
inline constexpr uint32_t kRevisionAix = 0x105;           // whole word of a file built on AIX
inline constexpr uint32_t kRevisionSubdirCounts = 0x200;  // the file carries subdirectory counts

inline constexpr uint32_t kHeaderNfs = 0x1;        // header flags: NFS scan (clear: CIFS)
inline constexpr uint32_t kHeaderSacls = 0x2;      // SACLs were collected
inline constexpr uint32_t kHeaderQvaTagged = 0x8;  // the file is QVA-tagged

// Offsets of the fields of header, root block and version block, from the start of the file, for
// the reader and for tools that write scans.
// clang-format off
namespace dtl_at {
inline constexpr size_t
    kMagic = 0,              // u32
    kRevision = 4,           // u32
    kScanTime = 8,           // u32
    kTagString = 12,         // u32, offset of a header string, as the next one
    kServerString = 16,      // u32
    kUniqueSds = 20,         // u32
    kSids = 28,              // u32
    kSecuritySection = 32,   // u64, 0 = none
    kIdSection = 48,         // u64, 0 = none
    kFlags = 64,             // u32
    kOrphanedSids = 68,      // u32
    kOrphanedAsOwner = 72;   // u32
inline constexpr size_t
    kTotalFileSize = 88,     // u64
    kFirstRecord = 104,      // u64
    kRootString = 112,       // u32
    kShareString = 116,      // u32, 0 = none
    kDirectories = 136,      // u32
    kEmptyDirectories = 140, // u32
    kFiles = 144,            // u32
    kCounts = 148,           // nine u32
    kHostString = 184,       // u32, 0 = use the server name
    kQvaRootString = 188,    // u32, 0 = use the root path
    kAvailableSpace = 192,   // u64
    kVolumeCapacity = 200;   // u64
inline constexpr size_t
    kScanVersion = 208,
    kBuildPlatform = 220,
    kBuildArchitecture = 252,
    kAfterVersion = 284;
}  // namespace dtl_at
// clang-format on
static_assert(dtl_at::kTotalFileSize == kHeaderSize &&
              dtl_at::kScanVersion == kHeaderSize + kRootSize &&
              dtl_at::kAfterVersion == kHeaderSize + kRootSize + kVersionSize);

struct LogHeader {
  uint32_t magic = 0;
  uint32_t revision = 0;
  uint32_t scanTime = 0;
  uint32_t tagString = 0;
  uint32_t serverString = 0;
  uint32_t uniqueSds = 0;
  uint32_t sids = 0;
  uint64_t securitySection = 0;
  uint64_t idSection = 0;
  uint32_t flags = 0;
  uint32_t orphanedSids = 0;
  uint32_t orphanedAsOwner = 0;
};

// Root block. The nine counts of kinds mean one thing for CIFS scans; NFS scans use the first two,
// for hard links and symbolic links.
struct LogRoot {
  uint64_t totalFileSize = 0;
  uint64_t firstRecord = 0;
  uint32_t rootString = 0;
  uint32_t shareString = 0;
  uint32_t directories = 0;
  uint32_t emptyDirectories = 0;
  uint32_t files = 0;
  uint32_t counts[9] = {};
  uint32_t hostString = 0;
  uint32_t qvaRootString = 0;
  uint64_t availableSpace = 0;
  uint64_t volumeCapacity = 0;
};

// Indexes into LogRoot::counts.
inline constexpr size_t kCifsEncrypted = 0;
inline constexpr size_t kCifsCompressed = 1;
inline constexpr size_t kCifsAdsFiles = 2;
inline constexpr size_t kCifsOffline = 3;
inline constexpr size_t kCifsHardLinks = 4;
inline constexpr size_t kCifsFileSymlinks = 5;
inline constexpr size_t kCifsDirSymlinks = 6;
inline constexpr size_t kCifsMountPoints = 7;
inline constexpr size_t kCifsJunctions = 8;
inline constexpr size_t kNfsHardLinks = 0;
inline constexpr size_t kNfsSymlinks = 1;

// Version block: three zero-padded 8-bit fields; each ends at its first zero byte or at its width.
inline constexpr size_t kScanVersionWidth = dtl_at::kBuildPlatform - dtl_at::kScanVersion;
inline constexpr size_t kBuildPlatformWidth = dtl_at::kBuildArchitecture - dtl_at::kBuildPlatform;
inline constexpr size_t kBuildArchitectureWidth =
    dtl_at::kAfterVersion - dtl_at::kBuildArchitecture;
struct VersionBlock {
  std::string scanVersion;
  std::string buildPlatform;
  std::string buildArchitecture;
};

LogHeader ParseHeader(std::span<const unsigned char, kHeaderSize> bytes);
LogRoot ParseRoot(std::span<const unsigned char, kRootSize> bytes);
VersionBlock ParseVersion(std::span<const unsigned char, kVersionSize> bytes);

// Flags of a detail record (its first word).
inline constexpr uint32_t kRecordEnd = 0xFFFFFFFF;  // the whole word: end of the record stream
inline constexpr uint32_t kRecordNoOwner = 0x8;
inline constexpr uint32_t kRecordNoGroup = 0x10;
inline constexpr uint32_t kRecordOrphanOwner = 0x20;
inline constexpr uint32_t kRecordOrphanInAcl = 0x40;
inline constexpr uint32_t kRecordHasStreams = 0x80;
inline constexpr uint32_t kRecordOrphanGroup = 0x200;
inline constexpr uint32_t kRecordSymlink = 0x10000;
inline constexpr uint32_t kRecordNfsStub = 0x40000;
inline constexpr uint32_t kRecordMountPoint = 0x80000;
inline constexpr uint32_t kRecordJunction = 0x100000;
inline constexpr uint32_t kRecordDirectory = 0x40000000;
// Any of these: a link target follows the name.
inline constexpr uint32_t kRecordHasTarget = kRecordSymlink | kRecordMountPoint | kRecordJunction;

// Bits of the attributes word. On an NFS scan the word is the POSIX mode, and these bits are tested
// all the same: a group-writable file (020 = 0x10) counts as a directory there. Kept so.
inline constexpr uint32_t kAttrReadOnly = 0x1;
inline constexpr uint32_t kAttrHidden = 0x2;
inline constexpr uint32_t kAttrSystem = 0x4;
inline constexpr uint32_t kAttrDirectory = 0x10;
inline constexpr uint32_t kAttrArchive = 0x20;
inline constexpr uint32_t kAttrCompressed = 0x800;
inline constexpr uint32_t kAttrOffline = 0x1000;
inline constexpr uint32_t kAttrEncrypted = 0x4000;
inline constexpr uint32_t kAttrOtherDirectory = 0x40000000;
inline constexpr uint32_t kAttrAnyDirectory = kAttrDirectory | kAttrOtherDirectory;

inline constexpr uint32_t kModeTypeMask = 0xF000;   // file-type bits of a POSIX mode
inline constexpr uint32_t kModeDirectory = 0x4000;  // S_IFDIR

// The offsets of the fields in a record's fixed part, for one scan kind.
struct RecordLayout {
  uint8_t fixedSize;
  uint8_t attributes, created, accessed, modified, size;
  uint8_t uid, gid, inode, links;
  uint8_t nameLength;     // u16
  uint8_t targetLength;   // u32 (CIFS) or u16 (NFS)
  bool wideTargetLength;  // the target length has 32 bits
  uint8_t streamCount;    // i32; 0 = records of this kind carry no alternate streams
};
inline constexpr RecordLayout kCifsRecord = {.fixedSize = 80,
                                             .attributes = 8,
                                             .created = 12,
                                             .accessed = 16,
                                             .modified = 20,
                                             .size = 24,
                                             .uid = 40,
                                             .gid = 44,
                                             .inode = 48,
                                             .links = 52,
                                             .nameLength = 72,
                                             .targetLength = 68,
                                             .wideTargetLength = true,
                                             .streamCount = 76};
inline constexpr RecordLayout kNfsRecord = {.fixedSize = 48,
                                            .attributes = 16,
                                            .created = 20,
                                            .accessed = 24,
                                            .modified = 28,
                                            .size = 32,
                                            .uid = 4,
                                            .gid = 8,
                                            .inode = 12,
                                            .links = 40,
                                            .nameLength = 44,
                                            .targetLength = 46,
                                            .wideTargetLength = false,
                                            .streamCount = 0};

// Alternate-stream entry: u16 length N, N bytes of name, u64 stream size.
inline constexpr size_t kStreamEntryOverhead = 10;

// Entries of the security section: u32 count of descriptors, each u32 length + bytes; u32 count of
// domains, each u32 length + text in 4-byte units; u32 count of SIDs, each this fixed part + SID
// bytes + account name in 4-byte units.
struct SidEntry {
  static constexpr size_t kSize = 24;
  uint32_t sidLength;    // 0
  uint32_t nameLength;   // 4   bytes, terminator included
  uint32_t domainIndex;  // 8
  int32_t type;          // 12
  uint32_t firstCount;   // 16
  uint32_t secondCount;  // 20
};
SidEntry ParseSidEntry(std::span<const unsigned char, SidEntry::kSize> bytes);

// Entry of the ID section (u32 count first): this fixed part + name bytes.
struct IdEntry {
  static constexpr size_t kSize = 16;
  uint32_t id;          // 0
  uint32_t kind;        // 4
  uint32_t third;       // 8
  uint32_t nameLength;  // 12  bytes
};
IdEntry ParseIdEntry(std::span<const unsigned char, IdEntry::kSize> bytes);

// A record's fixed part, read in place: each field is loaded when it is asked for.
class RecordFields {
 public:
  RecordFields() = default;
  RecordFields(const unsigned char* fixed, const RecordLayout* layout)
      : fixed_(fixed), layout_(layout) {}

  uint32_t flags() const { return LoadU32(fixed_); }
  uint32_t attributes() const { return LoadU32(fixed_ + layout_->attributes); }
  uint32_t created() const { return LoadU32(fixed_ + layout_->created); }
  uint32_t accessed() const { return LoadU32(fixed_ + layout_->accessed); }
  uint32_t modified() const { return LoadU32(fixed_ + layout_->modified); }
  uint64_t size() const { return LoadU64(fixed_ + layout_->size); }
  uint32_t uid() const { return LoadU32(fixed_ + layout_->uid); }
  uint32_t gid() const { return LoadU32(fixed_ + layout_->gid); }
  uint32_t inode() const { return LoadU32(fixed_ + layout_->inode); }
  uint32_t links() const { return LoadU32(fixed_ + layout_->links); }
  uint16_t nameLength() const { return LoadU16(fixed_ + layout_->nameLength); }
  uint32_t targetLength() const {
    return layout_->wideTargetLength ? LoadU32(fixed_ + layout_->targetLength)
                                     : LoadU16(fixed_ + layout_->targetLength);
  }
  // Number of alternate-stream entries as stored (may be negative); 0 for NFS records.
  int32_t streamCount() const {
    return layout_->streamCount != 0 ? LoadI32(fixed_ + layout_->streamCount) : 0;
  }
  // The fixed part as stored.
  const unsigned char* bytes() const { return fixed_; }
  const RecordLayout& layout() const { return *layout_; }
  bool isDirectory() const { return (flags() & kRecordDirectory) != 0; }

 private:
  const unsigned char* fixed_ = nullptr;
  const RecordLayout* layout_ = nullptr;
};

}  // namespace tabulon
