// A scan: the open detail file, all that comes before its records, and the tables that come with
// it. It is made whole and only read from then on, so that any number of scans can be open side by
// side and any number of threads can look at one, but for the accounts (SecurityObjects).
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "base/fileio.h"
#include "detail/dtlformat.h"
#include "detail/securityobjects.h"

namespace tabulon {

inline constexpr int kRootCifs = 1;
inline constexpr int kRootNfs = 2;

struct Scan {
  UniqueFd dtlFile;       // the open detail file
  uint64_t fileSize = 0;  // its bytes when it was loaded. What the run shares out by size goes by
                          // this one: somebody may still be copying the file.
  LogHeader logHdr;
  LogRoot logRoot;
  VersionBlock version;    // empty texts unless dtlVersionHdrPresent
  std::wstring srvrName;   // server name
  std::wstring rootPath;   // scanned root
  std::wstring fsysHost;   // filesystem host; the server name when the file names none
  std::wstring qvaRoot;    // root as named for the QVA output
  std::wstring tagStr;     // QVA tag, trimmed; a first blank means there is none
  std::wstring sharePath;  // share; empty when the file names none
  bool sharePathKnown = false;
  int rootType = kRootCifs;                   // kRootCifs or kRootNfs
  wchar_t pathSep = L'\\';                    // '\\' for CIFS, '/' for NFS
  bool hasSACLs = false;                      // CIFS only
  bool diskLtrRoot = false;                   // the CIFS root path ends in a backslash
  bool dtlRev7_OrHigher = false;              // records may carry alternate-stream entries
  bool dtlVersionHdrPresent = false;          // the file has a version block
  std::unique_ptr<SecurityObjects> security;  // CIFS only; null = not wanted

  bool isCifs() const { return rootType == kRootCifs; }
  const RecordLayout& layout() const { return isCifs() ? kCifsRecord : kNfsRecord; }
};

// What a run wants of a scan beside its records. A file that does not have it ends the run.
struct ScanDemands {
  bool adsFull = false;    // alternate data streams
  bool qvaTagged = false;  // the tag of the QVA output
  bool security = true;    // the security tables of a CIFS scan; without, it has no accounts
};

// Reads and checks header, root block, version block and strings of `file`, which holds a plain
// (not a compressed) scan, and loads the tables. A file that does not fit ends the run with its
// message, which calls it `name`. Blocks that the file ends in are read as if zeros followed.
Scan LoadScan(UniqueFd file, const char* name, const ScanDemands& demands);

// The string at file offset `offset`: a u16 byte length, then UTF-16 units, each sign-extended (a
// unit of 0x8000 or more becomes negative: kept so). Ends at its first zero unit or at its length;
// a length of 32768 or more counts as 0.
std::wstring ReadHeaderString(int fd, uint64_t offset);

}  // namespace tabulon
