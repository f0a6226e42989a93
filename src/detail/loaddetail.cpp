// Reads what stands before the records of a detail file: header, root and version block, strings.
#include "detail/detailfile.h"

#include <algorithm>
#include <array>
#include <string>
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
void ParseLogFileRev(const char* name, bool adsFull) {
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
  dtlRev7_OrHigher = revision >= 7;
  dtlVersionHdrPresent = revision == 8;
  if (!dtlRev7_OrHigher && adsFull) {
    ErrExit(
        L"dtl file '%s' was built with a version of trawlix that does not support full ADS info. "
        L"Please retry without '-adsfull' option.\n",
        name);
  }
}

void LoadHeader(const char* name, bool adsFull, bool qvaWanted) {
  std::array<unsigned char, kHeaderSize> bytes{};
  // What cannot be read at all (a directory, a pipe, a bad disk) is no more valid than a short
  // file.
  const ssize_t got = ReadFullyAt(dtlFile.get(), bytes.data(), kHeaderSize, 0);
  const bool whole = got == static_cast<ssize_t>(kHeaderSize);
  logHdr = ParseHeader(bytes);
  if (whole && logHdr.magic == kMagicIncomplete) {
    ErrExit(L"'%s' is an incomplete Trawlix detail log file\n", name);
  }
  if (!whole || (logHdr.magic != kMagicFinished && logHdr.magic != kMagicBeta)) {
    ErrExit(L"'%s' is not a valid Trawlix detail log file\n", name);
  }
  ParseLogFileRev(name, adsFull);
  if (qvaWanted && (logHdr.flags & kHeaderQvaTagged) == 0) {
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

void LoadStrings() {
  const int fd = dtlFile.get();
  srvrName = ReadHeaderString(fd, logHdr.serverString);
  rootPath = ReadHeaderString(fd, logRoot.rootString);
  fsysHost = logRoot.hostString == 0 ? srvrName : ReadHeaderString(fd, logRoot.hostString);
  qvaRoot = logRoot.qvaRootString == 0 ? rootPath : ReadHeaderString(fd, logRoot.qvaRootString);
  tagStr = ReadHeaderString(fd, logHdr.tagString);
  TrimTag(tagStr);
  sharePathKnown = logRoot.shareString != 0;
  sharePath = sharePathKnown ? ReadHeaderString(fd, logRoot.shareString) : std::wstring();
}

void SetScanKind() {
  const bool nfs = (logHdr.flags & kHeaderNfs) != 0;
  rootType = nfs ? kRootNfs : kRootCifs;
  pathSep = nfs ? L'/' : L'\\';
  hasSACLs = !nfs && (logHdr.flags & kHeaderSacls) != 0;
  diskLtrRoot = !nfs && rootPath.ends_with(L'\\');
}

}  // namespace

void LoadDetailFile(const char* name, bool adsFull, bool qvaWanted, VersionBlock& version) {
  LoadHeader(name, adsFull, qvaWanted);
  std::array<unsigned char, kRootSize> root;
  ReadBlock(dtlFile.get(), root, kHeaderSize);
  logRoot = ParseRoot(root);
  std::array<unsigned char, kVersionSize> block{};
  if (dtlVersionHdrPresent) ReadBlock(dtlFile.get(), block, kHeaderSize + kRootSize);
  version = ParseVersion(block);
  LoadStrings();
  SetScanKind();
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

void ResetDetailFile() {
  dtlFile.Reset();
  logHdr = {};
  logRoot = {};
  for (std::wstring* text : {&srvrName, &rootPath, &fsysHost, &qvaRoot, &tagStr, &sharePath}) {
    text->clear();
  }
  sharePathKnown = false;
  rootType = kRootCifs;
  pathSep = L'\\';
  hasSACLs = diskLtrRoot = dtlRev7_OrHigher = dtlVersionHdrPresent = false;
}

}  // namespace tabulon
