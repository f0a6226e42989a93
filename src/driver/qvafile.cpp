#include "driver/qvafile.h"

#include <fcntl.h>

#include <algorithm>
#include <cerrno>
#include <optional>
#include <string>
#include <string_view>

#include "base/format.h"
#include "base/loganderr.h"
#include "config/reportdefinition.h"

namespace tabulon {
namespace {

constexpr size_t kLongestName = 511;  // characters of the file name
constexpr mode_t kFileMode = 0666;    // before the process mask
constexpr size_t kDriveRootLength = 3;

// On a CIFS scan the root shown is the drive, or for a share the last component of the root path,
// with blanks up to the length of the text it replaces.
std::wstring ShownRoot(const Scan& scan) {
  if (!scan.isCifs()) return scan.qvaRoot;
  if (scan.rootPath.size() == kDriveRootLength) return scan.rootPath;
  if (!scan.qvaRoot.starts_with(L'\\')) return scan.qvaRoot;
  const size_t separator = scan.rootPath.rfind(scan.pathSep);
  std::wstring last = scan.rootPath.substr(separator == std::wstring::npos ? 0 : separator + 1);
  last.resize(std::max(last.size(), scan.qvaRoot.size()), L' ');
  return last;
}

// The part of the file name that stands for the root.
std::wstring RootNamePart(std::wstring_view root, wchar_t pathSep) {
  if (root.size() > 1 && root[1] == L':') return Formatted(L"%cdrive", root[0]);
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

std::wstring CreateQvaFile(const Scan& scan, const Settings& settings, TextStream& output) {
  const std::wstring qvaRoot = ShownRoot(scan);
  std::wstring name =
      Formatted(L"%ls_%ls_%ls", scan.tagStr, scan.fsysHost, RootNamePart(qvaRoot, scan.pathSep));
  if (name.size() > kLongestName) name.resize(kLongestName);
  const auto [path, bytes] = InReportDir(settings, name);
  const bool unicode = settings.textFormat == kTextUnicode;
  const int fd = OpenOutput(name, bytes);
  if (fd < 0) PosixErrExit(0, L"Unable to create QVA output file '%ls'\n", path);
  output.Attach(fd, true, unicode ? TextEncoding::kUcs2Le : TextEncoding::kLocale, *bytes);
  LogEntry(L"QVA output written to: %ls\n", path);
  const LogRoot& root = scan.logRoot;
  output.Write(Formatted(L"%ls|%ls|%ls|%s|%ls|%u|%llu|%llu|%llu|%u|%u", scan.tagStr, scan.fsysHost,
                         qvaRoot, scan.isCifs() ? "CIFS" : "NFS", scan.srvrName,
                         scan.logHdr.scanTime, root.volumeCapacity, root.availableSpace,
                         root.totalFileSize, root.directories, root.files));
  output.Write(unicode ? L"\r\n" : L"\n");
  return qvaRoot;
}

}  // namespace tabulon
