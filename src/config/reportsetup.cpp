#include "config/reportsetup.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <optional>

#include "base/fileio.h"
#include "base/loganderr.h"
#include "base/uniquefd.h"
#include "config/reportdefs.h"
#include "config/reportpath.h"
#include "config/settings.h"

namespace tabulon {
namespace {

constexpr mode_t kReportFileMode = 0666;
constexpr char kByteOrderMark[] = {'\xFF', '\xFE'};

constexpr uint32_t kDefaultExtLength = 4;

void CheckScanKind(Report& report, const Scan& scan) {
  if (report.type == 0) ErrExit(L"Report definition section with no type specified\n");
  const bool nfs = !scan.isCifs();
  if (nfs && (report.flags & kCifsOnly) != 0) {
    ErrExit(L"Report type '%ls' is only valid for CIFS scans\n", report.typeName);
  }
  if (!nfs && (report.flags & kNfsOnly) != 0) {
    ErrExit(L"Report type '%ls' is only valid for NFS scans\n", report.typeName);
  }
  CheckFieldTypes(report, scan);
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
}

void CreateReportFile(Report& report) {
  const auto [shown, path] = InReportDir(report.reportFile);
  report.reportPath = shown;
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
    const int errnum = errno;
    LogEntry(L"Cannot open tmp file %s\n", report.positions.path());
    ReportWriteError(report.positions.path(), errnum);  // the report will be empty
  }
}

void SetUpDuplicates(Report& report) {
  if (report.dupFields == 0) report.dupFields = kDupDefault;
  report.flags |= kFlagFullPath;
}

void SetUpGroups(Report& report) {
  if (report.typeSort == kSortUnset) report.typeSort = kSortBySize;
  if (report.extLength == 0) report.extLength = kDefaultExtLength;
}

}  // namespace

void InitializeReportEntry(Report& report, const Scan& scan) {
  CheckScanKind(report, scan);
  SetDefaults(report);
  if (!qvaFlag && report.hasReportFile) CreateReportFile(report);
  if ((report.type & kNotRecordList) == 0) CreatePositionFile(report);
  if (report.type == kReportDuplicates) SetUpDuplicates(report);
  if ((report.type & kGroupingTypes) != 0) SetUpGroups(report);
  report.plan = FilterPlan(report.filter, scan);
}

}  // namespace tabulon
