#include "config/reportsetup.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <optional>

#include "base/fileio.h"
#include "base/loganderr.h"
#include "base/uniquefd.h"
#include "config/narrowpath.h"
#include "config/reportdefs.h"
#include "config/settings.h"
#include "detail/detailfile.h"

namespace tabulon {
namespace {

constexpr mode_t kReportFileMode = 0666;
constexpr char kByteOrderMark[] = {'\xFF', '\xFE'};

constexpr uint32_t kDefaultExtLength = 4;
constexpr uint32_t kOwnerKeyBytes = 8;
constexpr uint32_t kIdKeyBytes = 4;

// Longest extension that a record can carry, in characters: its name is at most 65,535 bytes long,
// and no character takes less than one.
constexpr uint32_t kLongestExtension = 0xFFFF;
// Room for an extension's characters, its dot and its terminator.
constexpr uint32_t ExtensionKeyBytes(uint32_t extLength) {
  return std::min(extLength, kLongestExtension) * 4 + 8;
}

// The store of a grouping report: 512 keys a node, 10,000,000 bytes of resident key nodes.
constexpr uint32_t kFanOut = 512;
constexpr uint32_t kKeysPerNode = 512;
constexpr uint32_t kReferenceBytes = 8;
constexpr int32_t kKeyMemory = 10'000'000;
// With long keys a node takes fewer of them, one at least: the key memory then still holds dozens
// of nodes, and paging one of them in moves little that nobody asked for.
constexpr uint32_t kLargestKeyNode = 24 * 1024;
constexpr uint32_t kKeyRecordOverhead = 12;
constexpr uint32_t KeysPerNode(uint32_t keyBytes) {
  const uint32_t recordBytes = keyBytes + kReferenceBytes + kKeyRecordOverhead;
  return std::clamp<uint32_t>(kLargestKeyNode / recordBytes, 1, kKeysPerNode);
}
static_assert(KeysPerNode(ExtensionKeyBytes(kDefaultExtLength)) == kKeysPerNode);
static_assert(KeysPerNode(ExtensionKeyBytes(UINT32_MAX)) == 1);

void CheckScanKind(Report& report) {
  if (report.type == 0) ErrExit(L"Report definition section with no type specified\n");
  const bool nfs = rootType == kRootNfs;
  if (nfs && (report.flags & kCifsOnly) != 0) {
    ErrExit(L"Report type '%ls' is only valid for CIFS scans\n", report.typeName);
  }
  if (!nfs && (report.flags & kNfsOnly) != 0) {
    ErrExit(L"Report type '%ls' is only valid for NFS scans\n", report.typeName);
  }
  CheckFieldTypes(report);
}

void SetDefaults(Report& report) {
  if (report.format == kFormatUnset) report.format = kFormatText;
  if ((report.flags & (kFlagFileInDir | kFlagFullPath)) == 0) report.flags |= namesDflt;
  if ((report.flags & (kFlagRelative | kFlagAbsolute)) == 0) report.flags |= pathFormDflt;
  if (report.format == kFormatCsv && report.fields.empty()) {
    if (report.type == kReportSummary) {
      report.fields.assign(std::begin(kDefaultSummaryFields), std::end(kDefaultSummaryFields));
    } else {
      report.fields.assign(std::begin(kDefaultFields), std::end(kDefaultFields));
    }
  }
  if ((report.flags & kFlagTotals) != 0 && report.totalTag.empty()) report.totalTag = report.title;
}

void CreateReportFile(Report& report) {
  report.reportPath = InReportDir(report.reportFile);
  const std::optional<std::string> path = NarrowPath(report.reportPath);
  UniqueFd file;
  if (path) {
    file = UniqueFd(open(path->c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, kReportFileMode));
  }
  if (!file.valid()) PosixErrExit(0, L"Unable to create report file '%ls'\n", report.reportPath);
  report.reportPathNarrow = *path;
  const bool unicode = textFormat == kTextUnicode;
  if (unicode && !WriteFully(file.get(), kByteOrderMark, sizeof kByteOrderMark)) {
    ReportWriteError(*path, errno);
  }
  struct stat made {};
  if (fstat(file.get(), &made) != 0 || !S_ISREG(made.st_mode)) {
    report.stream.Attach(file.Release(), true,
                         unicode ? TextEncoding::kUtf16Le : TextEncoding::kLocale, *path);
  }
}

void CreatePositionFile(Report& report) {
  if (!report.positions.Create("tabulon.tmp")) {
    LogEntry(L"Cannot open tmp file %s\n", report.positions.path());
  }
}

void SetUpDuplicates(Report& report) {
  if (report.dupFields == 0) report.dupFields = kDupDefault;
  report.flags |= kFlagFullPath;
}

uint32_t GroupKeyBytes(const Report& report) {
  if (report.type == kReportFiletypes) return ExtensionKeyBytes(report.extLength);
  return report.type == kReportOwnerTotals ? kOwnerKeyBytes : kIdKeyBytes;
}

void PlantTypeTree(Report& report) {
  if (report.typeSort == kSortUnset) report.typeSort = kSortBySize;
  if (report.extLength == 0) report.extLength = kDefaultExtLength;
  const uint32_t keyBytes = GroupKeyBytes(report);
  report.tree = TreePlant({.fanOut = kFanOut,
                           .treeMemory = -int32_t{kFanOut + 1},
                           .keysPerKeyNode = KeysPerNode(keyBytes),
                           .maxKeyBytes = keyBytes,
                           .extraBytes = kReferenceBytes,
                           .keyMemory = kKeyMemory});
}

}  // namespace

void InitializeReportEntry(Report& report) {
  CheckScanKind(report);
  SetDefaults(report);
  if (!qvaFlag && report.hasReportFile) CreateReportFile(report);
  if ((report.type & kNotRecordList) == 0) CreatePositionFile(report);
  if (report.type == kReportDuplicates) SetUpDuplicates(report);
  if ((report.type & kGroupingTypes) != 0) PlantTypeTree(report);
  report.currentDir = NewStringObject({}, 0);
  report.plan = FilterPlan(report.filter);
}

}  // namespace tabulon
