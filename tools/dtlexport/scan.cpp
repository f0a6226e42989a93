#include "tools/dtlexport/scan.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

#include "base/fileio.h"
#include "base/loganderr.h"
#include "base/tempfile.h"
#include "detail/filecompress.h"

namespace tabulon {
namespace {

UniqueFd OpenToRead(const std::string& path) {
  return UniqueFd(open(path.c_str(), O_RDONLY | O_CLOEXEC));
}

bool IsCompressed(int fd) {
  unsigned char first[sizeof kZlibMark];
  return ReadFullyAt(fd, first, sizeof first, 0) == sizeof first &&
         std::memcmp(first, kZlibMark, sizeof first) == 0;
}

UniqueFd Inflated(const std::string& name) {
  const std::string temporary = DefinedTempName("dtlexport.tmp");
  const bool whole = decompressFile(name.c_str(), temporary.c_str()) == 0;
  const int errnum = errno;
  UniqueFd file;
  if (whole) file = OpenToRead(temporary);
  if (whole || errnum == EBADMSG) unlink(temporary.c_str());
  if (!file.valid()) {
    PosixErrExit(whole ? 0 : errnum, L"Error occurred during decompression of '%s'\n", name);
  }
  return file;
}

// File offset behind the records as far as it can be told without reading them: that of the section
// behind them, or the end of the file. Shards only differ in size when it is wrong.
uint64_t AssumedRecordsEnd(const Scan& scan) {
  const uint64_t firstRecord = scan.logRoot.firstRecord;
  struct stat info {};
  uint64_t end = fstat(scan.dtlFile.get(), &info) == 0 ? static_cast<uint64_t>(info.st_size) : 0;
  for (const uint64_t section : {scan.logHdr.securitySection, scan.logHdr.idSection}) {
    if (section > firstRecord) end = std::min(end, section);
  }
  return std::max(end, firstRecord);
}

// Where shard number `index` ends and the next one begins.
uint64_t EndOfShard(const Scan& scan, uint32_t index, uint32_t count) {
  const uint64_t firstRecord = scan.logRoot.firstRecord;
  const uint64_t room = AssumedRecordsEnd(scan) - firstRecord;
  return firstRecord + room / count * index + room % count * index / count;
}

}  // namespace

Scan OpenScan(const std::string& name, bool forQueries) {
  UniqueFd file = OpenToRead(name);
  if (!file.valid()) PosixErrExit(0, L"Unable to open scan detail file '%s'\n", name);
  if (IsCompressed(file.get())) file = Inflated(name);
  return LoadScan(std::move(file), name.c_str(), {.security = forQueries});
}

ScanWalk::ScanWalk(const Scan& scan, const ExportChoice& choice)
    : plan_(choice.filter, scan),
      directories_(choice.directories),
      reader_(scan),
      position_(scan.logRoot.firstRecord) {
  const Shard& shard = choice.shard;
  if (shard.index > 1) begin_ = EndOfShard(scan, shard.index - 1, shard.count);
  end_ = shard.index < shard.count ? EndOfShard(scan, shard.index, shard.count) : ~uint64_t{0};
  record_.directory = &directory_;
}

// Records before the shard's first are passed over: the directory that it is in is among them.
const ScanRecord* ScanWalk::Next() {
  while (position_ < end_) {
    if (!reader_.Read(position_, record_.view)) {
      whole_ = reader_.atEndMarker();
      return nullptr;
    }
    if (record_.fields().isDirectory()) {
      directoryBytes_.assign(record_.view.name);
      directory_.Assign(directoryBytes_);
      record_.directoryPosition = position_;
    }
    const bool mine = position_ >= begin_;
    position_ = record_.view.next;
    if (mine && IsChosen()) return &record_;
  }
  return nullptr;
}

bool ScanWalk::IsChosen() {
  if (record_.fields().isDirectory() && !directories_) return false;
  record_.name.Assign(record_.view.name);
  if (record_.view.hasTarget) record_.target.Assign(record_.view.target);
  return plan_.Passes(record_);
}

}  // namespace tabulon
