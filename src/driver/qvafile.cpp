#include "driver/qvafile.h"

#include <fcntl.h>

#include <algorithm>
#include <cerrno>
#include <optional>
#include <string>
#include <string_view>

#include "base/format.h"
#include "base/loganderr.h"
#include "config/reportpath.h"
#include "config/settings.h"
#include "detail/detailfile.h"
#include "reports/reportwriter.h"

namespace tabulon {
namespace {

constexpr size_t kLongestName = 511;  // characters of the file name
constexpr mode_t kFileMode = 0666;    // before the process mask
constexpr size_t kDriveRootLength = 3;

// On a CIFS scan the root shown is the drive, or for a share the last component of the root path,
// with blanks up to the length of the text it replaces.
void ChooseQvaRoot() {
  if (rootType != kRootCifs) return;
  if (rootPath.size() == kDriveRootLength) {
    qvaRoot = rootPath;
  } else if (!qvaRoot.empty() && qvaRoot.front() == L'\\') {
    const size_t separator = rootPath.rfind(pathSep);
    std::wstring last = rootPath.substr(separator == std::wstring::npos ? 0 : separator + 1);
    last.resize(std::max(last.size(), qvaRoot.size()), L' ');
    qvaRoot = std::move(last);
  }
}

// The part of the file name that stands for the root.
std::wstring RootNamePart() {
  if (qvaRoot.size() > 1 && qvaRoot[1] == L':') return Formatted(L"%cdrive", qvaRoot[0]);
  std::wstring_view root = qvaRoot;
  if (!root.empty() && root.front() == pathSep) root.remove_prefix(1);
  if (!root.empty() && root.back() == pathSep) root.remove_suffix(1);
  std::wstring part(root);
  std::replace(part.begin(), part.end(), pathSep, L'-');
  return part;
}

int OpenOutput(const std::wstring& name, const std::optional<std::string>& path) {
  // Header strings come from elsewhere: the name must not lead out of the report directory.
  if (name.find(L'/') != std::wstring::npos) {
    errno = EINVAL;
    return -1;
  }
  if (!path) return -1;
  return open(path->c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, kFileMode);
}

}  // namespace

void CreateQvaFile() {
  ChooseQvaRoot();
  std::wstring name = Formatted(L"%ls_%ls_%ls", tagStr, fsysHost, RootNamePart());
  if (name.size() > kLongestName) name.resize(kLongestName);
  const auto [path, bytes] = InReportDir(name);
  const bool unicode = textFormat == kTextUnicode;
  const int fd = OpenOutput(name, bytes);
  if (fd < 0) PosixErrExit(0, L"Unable to create QVA output file '%ls'\n", path);
  qvaOutput.Attach(fd, true, unicode ? TextEncoding::kUcs2Le : TextEncoding::kLocale, *bytes);
  LogEntry(L"QVA output written to: %ls\n", path);
  qvaOutput.Write(Formatted(L"%ls|%ls|%ls|%s|%ls|%u|%llu|%llu|%llu|%u|%u", tagStr, fsysHost,
                            qvaRoot, rootType == kRootCifs ? "CIFS" : "NFS", srvrName,
                            logHdr.scanTime, logRoot.volumeCapacity, logRoot.availableSpace,
                            logRoot.totalFileSize, logRoot.directories, logRoot.files));
  qvaOutput.Write(unicode ? L"\r\n" : L"\n");
}

}  // namespace tabulon
