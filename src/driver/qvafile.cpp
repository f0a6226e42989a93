#include "driver/qvafile.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <string>
#include <string_view>
#include <vector>

#include "base/fileio.h"
#include "base/format.h"
#include "base/loganderr.h"
#include "config/reportdefinition.h"

namespace tabulon {
namespace {

constexpr size_t kLongestName = 511;                   // characters of the file name
constexpr size_t kLongestFirstLine = size_t{1} << 19;  // bytes; header strings end before
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

// The part of the file name that is made from the root.
std::wstring RootNamePart(std::wstring_view root, wchar_t pathSep) {
  if (root.size() > 1 && root[1] == L':') return Formatted(L"%cdrive", root[0]);
  if (!root.empty() && root.front() == pathSep) root.remove_prefix(1);
  if (!root.empty() && root.back() == pathSep) root.remove_suffix(1);
  std::wstring part(root);
  std::replace(part.begin(), part.end(), pathSep, L'-');
  return part;
}

// Header strings come from elsewhere: the name must not lead out of the report directory.
bool StaysInDirectory(const std::wstring& name) {
  if (name.find(L'/') == std::wstring::npos) return true;
  errno = EINVAL;
  return false;
}

// The ASCII of UTF-16 text; '?' for the rest.
std::string FromUtf16(std::string_view bytes) {
  std::string text;
  for (size_t i = 0; i + 1 < bytes.size(); i += 2) text += bytes[i + 1] == '\0' ? bytes[i] : '?';
  return text;
}

// Whether a text begins as a QVA file does: three texts, the kind of the scan, the server and six
// figures. The texts may hold separators of their own.
bool BeginsAsQvaFile(std::string_view text) {
  constexpr size_t kTexts = 3, kFigures = 6;
  std::vector<std::string_view> fields;
  std::string_view line = text.substr(0, text.find('\n'));
  if (line.ends_with('\r')) line.remove_suffix(1);
  for (size_t at = 0; at != line.npos;) {
    at = line.find('|');
    fields.push_back(line.substr(0, at));
    if (at != line.npos) line.remove_prefix(at + 1);
  }
  if (fields.size() < kTexts + 2 + kFigures) return false;
  const auto figures = fields.end() - kFigures;
  const auto isFigure = [](std::string_view field) {
    return !field.empty() && field.find_first_not_of("0123456789") == field.npos;
  };
  const auto isKind = [](std::string_view field) { return field == "CIFS" || field == "NFS"; };
  return std::all_of(figures, fields.end(), isFigure) &&
         std::any_of(fields.begin() + kTexts, figures - 1, isKind);
}

// Whether the file of this name may go: there is none, it is empty, it is no regular file, or it is
// a QVA file.
bool MayBeReplaced(const std::string& path) {
  struct stat found {};
  if (stat(path.c_str(), &found) != 0 || !S_ISREG(found.st_mode) || found.st_size == 0) return true;
  const UniqueFd file(open(path.c_str(), O_RDONLY | O_CLOEXEC));
  if (!file.valid()) return access(path.c_str(), W_OK) != 0;  // then opening it tells why
  std::string text(kLongestFirstLine, '\0');
  text.resize(
      static_cast<size_t>(std::max<ssize_t>(ReadFully(file.get(), text.data(), text.size()), 0)));
  return BeginsAsQvaFile(text) || BeginsAsQvaFile(FromUtf16(text));
}

void RefuseOtherFile(const Settings& settings, const ReportPath& path) {
  UsedFiles files = settings.usedFiles;
  files.push_back({FileUse::kWritten, L"QVA output file", *path.bytes});
  RefuseSameFiles(files);
  if (!MayBeReplaced(*path.bytes)) {
    ErrExit(L"'%ls' is no QVA output file, and stays\n", path.shown);
  }
}

void WriteFirstLine(const Scan& scan, const std::wstring& qvaRoot, TextStream& output) {
  const LogRoot& root = scan.logRoot;
  output.Write(Formatted(L"%ls|%ls|%ls|%s|%ls|%u|%llu|%llu|%llu|%u|%u", scan.tagStr, scan.fsysHost,
                         qvaRoot, scan.isCifs() ? "CIFS" : "NFS", scan.srvrName,
                         scan.logHdr.scanTime, root.volumeCapacity, root.availableSpace,
                         root.totalFileSize, root.directories, root.files));
}

}  // namespace

std::wstring CreateQvaFile(const Scan& scan, const Settings& settings, AsideFile& file,
                           TextStream& output) {
  std::wstring qvaRoot = ShownRoot(scan);
  std::wstring name =
      Formatted(L"%ls_%ls_%ls", scan.tagStr, scan.fsysHost, RootNamePart(qvaRoot, scan.pathSep));
  if (name.size() > kLongestName) name.resize(kLongestName);
  const ReportPath path = InReportDir(settings, name);
  const bool unicode = settings.textFormat == kTextUnicode;
  const bool possible = StaysInDirectory(name) && path.bytes;
  if (possible) RefuseOtherFile(settings, path);
  if (!possible || !file.Prepare(*path.bytes) ||
      !file.Open(output, unicode ? TextEncoding::kUcs2Le : TextEncoding::kLocale)) {
    PosixErrExit(0, L"Unable to create QVA output file '%ls'\n", path.shown);
  }
  LogEntry(L"QVA output written to: %ls\n", path.shown);
  WriteFirstLine(scan, qvaRoot, output);
  output.Write(unicode ? L"\r\n" : L"\n");
  return qvaRoot;
}

}  // namespace tabulon
