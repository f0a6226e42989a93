#include "config/reportdefinition.h"

#include <cstdlib>

#include "base/format.h"
#include "base/loganderr.h"
#include "config/reportfields.h"

namespace tabulon {
namespace {

constexpr uint32_t kDefaultExtLength = 4;

void CheckScanKind(ReportDefinition& report, const Scan& scan) {
  if (report.kind == nullptr) ErrExit(L"Report definition section with no type specified\n");
  if (!scan.isCifs() && (report.kind->scans & kCifsOnly) != 0) {
    ErrExit(L"Report type '%ls' is only valid for CIFS scans\n", report.typeName);
  }
  if (scan.isCifs() && (report.kind->scans & kNfsOnly) != 0) {
    ErrExit(L"Report type '%ls' is only valid for NFS scans\n", report.typeName);
  }
  CheckFieldTypes(report, scan);
}

void SetDefaults(ReportDefinition& report, const Settings& settings) {
  if (report.format == kFormatUnset) report.format = kFormatText;
  if ((report.flags & (kFlagFileInDir | kFlagFullPath)) == 0) report.flags |= settings.namesDflt;
  if ((report.flags & (kFlagRelative | kFlagAbsolute)) == 0) report.flags |= settings.pathFormDflt;
  if (report.format == kFormatCsv && report.fields.empty()) {
    if (report.type() == kReportSummary) {
      report.fields.assign(std::begin(kDefaultSummaryFields), std::end(kDefaultSummaryFields));
    } else {
      report.fields.assign(std::begin(kDefaultFields), std::end(kDefaultFields));
    }
  }
}

void CreateReportFile(ReportDefinition& report, const Settings& settings) {
  const auto [shown, path] = InReportDir(settings, *report.reportFile);
  if (!path || !report.file.output.Prepare(*path)) {
    PosixErrExit(0, L"Unable to create report file '%ls'\n", shown);
  }
  report.file.reportPath = shown;
}

void SetUpDuplicates(ReportDefinition& report) {
  if (report.dupFields == 0) report.dupFields = kDupDefault;
  report.flags |= kFlagFullPath;
}

void SetUpGroups(ReportDefinition& report) {
  if (report.typeSort == kSortUnset) report.typeSort = kSortBySize;
  if (report.extLength == 0) report.extLength = kDefaultExtLength;
}

std::optional<std::string> InLocale(const std::wstring& name) {
  const size_t length = std::wcstombs(nullptr, name.c_str(), 0);
  if (length == static_cast<size_t>(-1)) return std::nullopt;
  std::string narrow(length, '\0');
  std::wcstombs(narrow.data(), name.c_str(), length);
  return narrow;
}

}  // namespace

void InitializeReportEntry(ReportDefinition& report, const Settings& settings, const Scan& scan) {
  CheckScanKind(report, scan);
  SetDefaults(report, settings);
  if (!settings.qvaFlag && report.reportFile) CreateReportFile(report, settings);
  if (report.type() == kReportDuplicates) SetUpDuplicates(report);
  if ((report.type() & kGroupingTypes) != 0) SetUpGroups(report);
  report.plan = FilterPlan(report.filter, scan);
}

ReportPath InReportDir(const Settings& settings, const std::wstring& name) {
  const std::optional<std::string>& reportDir = settings.reportDir;
  ReportPath path{reportDir ? Formatted(L"%s/%ls", *reportDir, name) : name, InLocale(name)};
  if (reportDir && path.bytes) path.bytes = *reportDir + "/" + *path.bytes;
  return path;
}

}  // namespace tabulon
