#include "tools/scanreader/openscan.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstring>
#include <utility>

#include "base/fileio.h"
#include "base/loganderr.h"
#include "base/tempfile.h"
#include "base/utf.h"
#include "detail/filecompress.h"
#include "query/parsequery.h"

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

// The plain form of an open compressed scan: a temporary file that is gone when it is closed.
UniqueFd InflatedCopy(int from, const std::string& name) {
  TempFile copy = TempFile::Create("scan.tmp");
  if (copy.valid() && InflateStream(from, copy.fd()).outcome == Inflated::kWhole) {
    return UniqueFd(fcntl(copy.fd(), F_DUPFD_CLOEXEC, 0));
  }
  PosixErrExit(0, L"Error occurred during decompression of '%s'\n", name);
}

}  // namespace

Scan OpenScan(const std::string& name, bool forQueries) {
  UniqueFd file = OpenToRead(name);
  if (!file.valid()) PosixErrExit(0, L"Unable to open scan detail file '%s'\n", name);
  if (IsCompressed(file.get())) file = InflatedCopy(file.get(), name);
  return LoadScan(std::move(file), name.c_str(), {.security = forQueries});
}

Query ParseWhere(const std::optional<std::string>& where, const Scan& scan) {
  if (!where) return {};
  std::wstring query;
  AppendUtfToWide(query, *where);
  return ParseQuery(query, scan, Classes());
}

}  // namespace tabulon
