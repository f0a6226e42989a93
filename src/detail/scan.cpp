#include "detail/scan.h"

#include <algorithm>
#include <array>
#include <string>
#include <utility>
#include <vector>

#include "base/fileio.h"
#include "base/loganderr.h"

namespace tabulon {
namespace {

// Characters of a tag that count.
constexpr size_t kTagLength = 31;

// Reads the block at `offset`; what the file does not hold of it reads as zeros. Returns the bytes
// that it does hold.
template <size_t N>
size_t ReadBlock(int fd, std::array<unsigned char, N>& block, size_t offset) {
  block.fill(0);
  const ssize_t got = ReadFullyAt(fd, block.data(), N, static_cast<off_t>(offset));
  if (got < 0) PosixErrExit(0, L"Error reading scan detail file\n");
  return static_cast<size_t>(got);
}

// Checks that records of the file's revision can be read, and what they hold.
void ParseLogFileRev(Scan& scan, const char* name, bool adsFull) {
  const LogHeader& logHdr = scan.logHdr;
  const uint32_t revision = logHdr.revision & kRevisionMask;
  if (revision < 6 || revision > 8) {
    if (logHdr.revision == kRevisionAix) {
      ErrExit(
          L"'%s' was built on AIX.\n"
          L"Currently a know temporary issue exists with AIX DTL files preventing report "
          L"generation.\n"
          L"We regret any inconvenience caused.\n",
          name);
    }
    if (logHdr.magic == kMagicBeta) {
      ErrExit(
          L"'%s' was built by a BETA revision of Trawlix.\n"
          L"Unfortunately these DTL files are no longer supported.\n"
          L"Please download the latest version of Trawlix.\n",
          name);
    }
    ErrExit(L"'%s' was built by an incompatible revision of Trawlix\n", name);
  }
  scan.dtlRev7_OrHigher = revision >= 7;
  scan.dtlVersionHdrPresent = revision == 8;
  if (!scan.dtlRev7_OrHigher && adsFull) {
    ErrExit(
        L"dtl file '%s' was built with a version of trawlix that does not support full ADS info. "
        L"Please retry without '-adsfull' option.\n",
        name);
  }
}

void LoadHeader(Scan& scan, const char* name, const ScanDemands& demands) {
  std::array<unsigned char, kHeaderSize> bytes{};
  // What cannot be read at all (a directory, a pipe, a bad disk) is no more valid than a short
  // file.
  const ssize_t got = ReadFullyAt(scan.dtlFile.get(), bytes.data(), kHeaderSize, 0);
  const bool whole = got == static_cast<ssize_t>(kHeaderSize);
  const LogHeader& logHdr = scan.logHdr = ParseHeader(bytes);
  if (whole && logHdr.magic == kMagicIncomplete) {
    ErrExit(L"'%s' is an incomplete Trawlix detail log file\n", name);
  }
  if (!whole || (logHdr.magic != kMagicFinished && logHdr.magic != kMagicBeta)) {
    ErrExit(L"'%s' is not a valid Trawlix detail log file\n", name);
  }
  ParseLogFileRev(scan, name, demands.adsFull);
  if (demands.qvaTagged && (logHdr.flags & kHeaderQvaTagged) == 0) {
    ErrExit(L"'%s' is not an QVA-tagged .dtl file\n", name);
  }
}

// Cuts the blanks that a tag is padded with. A 32nd character is never looked at, and lost. Kept
// so. A tag of blanks stays as it is, and so does one that is stored shorter.
void TrimTag(std::wstring& tag) {
  if (tag.size() < kTagLength) return;
  const size_t last = tag.find_last_not_of(L' ', kTagLength - 1);
  if (last != std::wstring::npos) tag.resize(last + 1);
}

void LoadStrings(Scan& scan) {
  const auto read = [&](uint32_t offset) { return ReadHeaderString(scan.dtlFile.get(), offset); };
  const LogRoot& root = scan.logRoot;
  scan.srvrName = read(scan.logHdr.serverString);
  scan.rootPath = read(root.rootString);
  scan.fsysHost = root.hostString == 0 ? scan.srvrName : read(root.hostString);
  scan.qvaRoot = root.qvaRootString == 0 ? scan.rootPath : read(root.qvaRootString);
  scan.tagStr = read(scan.logHdr.tagString);
  TrimTag(scan.tagStr);
  scan.sharePathKnown = root.shareString != 0;
  if (scan.sharePathKnown) scan.sharePath = read(root.shareString);
}

void SetScanKind(Scan& scan) {
  const bool nfs = (scan.logHdr.flags & kHeaderNfs) != 0;
  scan.rootType = nfs ? kRootNfs : kRootCifs;
  scan.pathSep = nfs ? L'/' : L'\\';
  scan.hasSACLs = !nfs && (scan.logHdr.flags & kHeaderSacls) != 0;
  scan.diskLtrRoot = !nfs && scan.rootPath.ends_with(L'\\');
}

}  // namespace

Scan LoadScan(UniqueFd file, const char* name, const ScanDemands& demands) {
  Scan scan;
  scan.dtlFile = std::move(file);
  const int fd = scan.dtlFile.get();
  scan.fileSize = FileSize(fd);
  LoadHeader(scan, name, demands);
  std::array<unsigned char, kRootSize> root;
  ReadBlock(fd, root, kHeaderSize);
  scan.logRoot = ParseRoot(root);
  std::array<unsigned char, kVersionSize> block{};
  if (scan.dtlVersionHdrPresent) ReadBlock(fd, block, kHeaderSize + kRootSize);
  scan.version = ParseVersion(block);
  LoadStrings(scan);
  SetScanKind(scan);
  if (scan.isCifs() && demands.security) scan.security = LoadSecurityObjects(fd, scan.logHdr);
  return scan;
}

std::wstring ReadHeaderString(int fd, uint64_t offset) {
  std::array<unsigned char, sizeof(int16_t)> stored;
  if (ReadBlock(fd, stored, offset) < stored.size()) return {};
  const int length = std::max<int>(static_cast<int16_t>(LoadU16(stored.data())), 0);
  std::vector<unsigned char> bytes(static_cast<size_t>(length));
  const ssize_t got =
      ReadFullyAt(fd, bytes.data(), bytes.size(), static_cast<off_t>(offset + sizeof(int16_t)));
  if (got < 0) PosixErrExit(0, L"Error reading scan detail file\n");
  std::wstring text;
  // Where the file ends inside a unit, zero pads it.
  for (int i = 0; i < got && i + 1 < length; i += 2) {
    const auto unit = static_cast<int16_t>(LoadU16(bytes.data() + i));
    if (unit == 0) break;
    text.push_back(unit);
  }
  return text;
}

}  // namespace tabulon
