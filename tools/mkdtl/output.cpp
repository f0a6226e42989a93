#include "tools/mkdtl/output.h"

#include <cerrno>
#include <cinttypes>
#include <cstdio>
#include <cstring>

#include "base/fileio.h"
#include "tools/scanwriter/dtlcompress.h"

namespace tabulon {
namespace {

bool SameFile(int fd, const struct stat& file) {
  struct stat own;
  return fd >= 0 && fstat(fd, &own) == 0 && own.st_dev == file.st_dev && own.st_ino == file.st_ino;
}

}  // namespace

bool ScanOutput::Open() {
  if (!plain_.Open(options_.path)) return Fail(errno);
  if (options_.compress && !packed_.Open(options_.path)) return Fail(errno);
  return true;
}

bool ScanOutput::Finish(DtlWriter& writer) {
  if (!writer.Finish()) return Fail(writer.error());
  if (options_.compress && !Compress()) return Fail(errno);
  OutputFile& result = options_.compress ? packed_ : plain_;
  if (!result.Commit()) return Fail(errno);
  const LogRoot& totals = writer.totals();
  std::printf("%s: %" PRIu32 " directories, %" PRIu32 " files, %" PRIu64 " bytes in files\n",
              options_.path.c_str(), totals.directories, totals.files, totals.totalFileSize);
  return true;
}

bool ScanOutput::Compress() {
  if (lseek(plain_.fd(), 0, SEEK_SET) != 0) return false;
  const PlainSource source = [this](char* buffer, size_t size) {
    return ReadFully(plain_.fd(), buffer, size);
  };
  if (!CompressDtl(source, packed_)) return false;
  plain_.Discard();
  return true;
}

bool ScanOutput::Owns(const struct stat& file) const {
  return SameFile(plain_.fd(), file) || SameFile(packed_.fd(), file);
}

bool ScanOutput::Fail(int error) const {
  std::fprintf(stderr, "mkdtl: cannot write '%s': %s\n", options_.path.c_str(),
               error == EEXIST ? "it is there and no regular file" : std::strerror(error));
  return false;
}

}  // namespace tabulon
