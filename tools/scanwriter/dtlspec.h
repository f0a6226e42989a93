// Descriptions of a scan and of its parts, for writing.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "detail/dtlformat.h"

namespace tabulon {

enum class ScanKind { kCifs, kNfs };

// One alternate stream. Stored for CIFS scans of revision 7 and later.
struct StreamSpec {
  std::string name = {};
  uint64_t size = 0;
};

// One record. Nothing is derived: a symbolic link needs its flag for its target to be stored, a
// record with streams its own. The builders in tests/support/dtlbuild.h set what belongs together.
struct RecordSpec {
  uint32_t flags = 0;
  uint32_t attributes = 0;  // Windows attributes, or POSIX mode with type bits
  uint32_t created = 0;
  uint32_t accessed = 0;
  uint32_t modified = 0;
  uint64_t size = 0;
  uint32_t uid = 0;
  uint32_t gid = 0;
  uint32_t inode = 0;
  uint32_t links = 1;
  std::string name = {};    // full path from the root for a directory, else the leaf name; UTF-8
  std::string target = {};  // stored only when flags have a bit of kRecordHasTarget
  std::vector<StreamSpec> streams = {};
};

struct SidSpec {
  std::string sid = {};      // binary form
  std::string name = {};     // account, UTF-8
  uint32_t domain = 0;       // index into the domains
  int32_t type = 1;          // -3 unmapped ... 9 computer
  uint32_t firstCount = 0;   // uses in access control lists
  uint32_t secondCount = 0;  // uses as owner
};

inline constexpr uint32_t kIdUser = 1;
inline constexpr uint32_t kIdGroup = 2;

struct IdSpec {
  uint32_t id = 0;
  uint32_t kind = kIdUser;
  uint32_t third = 0;
  std::string name = {};
};

inline constexpr std::string_view kBlankTag = "                                ";

// A scan. Texts are UTF-8; header strings become UTF-16, accounts and domains 4-byte units, names
// stay as their bytes.
struct ScanSpec {
  ScanKind kind = ScanKind::kNfs;
  uint32_t magic = kMagicFinished;
  uint32_t revision = 8;  // the whole word
  uint32_t scanTime = 0;
  uint32_t flags = 0;  // header flags; the scan kind's bit is added
  std::string server = "server";
  std::string rootPath = "/";
  std::optional<std::string> share = {};
  std::optional<std::string> host = {};
  std::optional<std::string> qvaRoot = {};
  std::string tag{kBlankTag};  // stored as given: scanners pad it to 32 characters
  VersionBlock version{"1.0", "test", "test"};
  uint64_t availableSpace = 0;
  uint64_t volumeCapacity = 0;
  uint32_t orphanedSids = 0;
  uint32_t orphanedAsOwner = 0;

  std::vector<RecordSpec> records = {};  // BuildDtl writes these; a DtlWriter gets its own by Add
  std::string rawRecords = {};           // bytes put after the records as they are
  bool endMarker = true;
  bool terminateNames = true;  // names and targets are stored with a zero byte, counted

  std::vector<std::string> descriptors = {};  // CIFS; a section is written when one of the three is
  std::vector<std::string> domains = {};      // not empty
  std::vector<SidSpec> sids = {};
  std::vector<IdSpec> ids = {};  // NFS; a section is written when not empty
  std::string tail = {};         // bytes put at the end of the file

  // Last word on header and root block, after totals and offsets have been filled in.
  std::function<void(LogHeader&, LogRoot&)> adjust = {};
};

}  // namespace tabulon
