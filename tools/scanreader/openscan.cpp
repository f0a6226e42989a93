#include "tools/scanreader/openscan.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <utility>

#include "base/fileio.h"
#include "base/loganderr.h"
#include "base/tempfile.h"
#include "base/uniquefd.h"
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

UniqueFd Inflated(const std::string& name) {
  const std::string temporary = DefinedTempName("scan.tmp");
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

}  // namespace

Scan OpenScan(const std::string& name, bool forQueries) {
  UniqueFd file = OpenToRead(name);
  if (!file.valid()) PosixErrExit(0, L"Unable to open scan detail file '%s'\n", name);
  if (IsCompressed(file.get())) file = Inflated(name);
  return LoadScan(std::move(file), name.c_str(), {.security = forQueries});
}

const Filter* ParseWhere(const std::optional<std::string>& where, const Scan& scan) {
  if (!where) return nullptr;
  std::wstring query;
  AppendUtfToWide(query, *where);
  return ParseQuery(query, scan);
}

}  // namespace tabulon
