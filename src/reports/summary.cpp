#include "reports/summary.h"

#include <array>
#include <span>
#include <string>

#include "base/loganderr.h"
#include "config/reportdefs.h"
#include "config/settings.h"
#include "detail/detailfile.h"
#include "detail/scandetail.h"
#include "reports/reportwriter.h"
#include "reports/valueformat.h"

namespace tabulon {
namespace {

std::wstring_view ScanKind() {
  return rootType == kRootCifs ? L"CIFS" : L"NFS";
}

// A line for one of the root block's counts, written when the count is above 0.
struct CountLine {
  WideFormat<uint32_t> format;
  size_t index;
};
constexpr std::array<CountLine, 2> kNfsCounts = {{
    {L"    Symbolic links: %d\n", kNfsSymlinks},
    {L"        Hard links: %d\n", kNfsHardLinks},
}};
constexpr std::array<CountLine, 9> kCifsCounts = {{
    {L"   Encrypted files: %d\n", kCifsEncrypted},
    {L"  Compressed files: %d\n", kCifsCompressed},
    {L"     Offline files: %d\n", kCifsOffline},
    {L"         ADS files: %d\n", kCifsAdsFiles},
    {L"  Symlinks (Files): %d\n", kCifsFileSymlinks},
    {L"   Symlinks (Dirs): %d\n", kCifsDirSymlinks},
    {L"        Hard links: %d\n", kCifsHardLinks},
    {L"  MountPoint Links: %d\n", kCifsMountPoints},
    {L"   Junction Points: %d\n", kCifsJunctions},
}};

void WriteCounts(Report& report, std::span<const CountLine> lines) {
  for (const CountLine& line : lines) {
    const uint32_t count = logRoot.counts[line.index];
    if (count > 0) ReportEntry(report, line.format, count);
  }
}

void WriteSource(Report& report, std::string_view dtlName, const VersionBlock& version) {
  TimeText created;
  ReportEntry(report, L"\n\nVelmora Filesystem Audit Summary Report\n\n");
  ReportEntry(report, L"Source file: %s, Created: %ls\n\n", dtlName,
              FormatFileTime(logHdr.scanTime, L"%a, %#d %b, %Y at %X", created));
  ReportEntry(report, L"Server: %ls", srvrName);
  if (dtlVersionHdrPresent) {
    ReportEntry(report, L"\n\nScan Version : %s\nBuild Platform : %s\nBuild Architecture : %s\n\n",
                version.scanVersion, version.buildPlatform, version.buildArchitecture);
    // Standard output gets them too, without a line end, wherever the report goes. Kept so.
    ConsoleEntry(Console(), L"%s %s %s", version.scanVersion, version.buildPlatform,
                 version.buildArchitecture);
  }
  if (!tagStr.starts_with(L' ')) ReportEntry(report, L",  QVA tag: %ls", tagStr);
}

void WriteRootName(Report& report) {
  ReportEntry(report, L"\n---- Totals for %ls root: %ls", ScanKind(), rootPath);
  if (!rootPath.starts_with(L'\\')) {
    if (sharePathKnown) {
      ReportEntry(report, L" (%ls)", sharePath);
    } else {
      ReportEntry(report, L" (local %ls)", rootType == kRootCifs ? L"disk" : L"filesystem");
    }
  }
  ReportEntry(report, L"\n\n");
}

void WriteTotals(Report& report) {
  ValueText text;
  ReportEntry(report, L"       Directories: %d\n", logRoot.directories);
  if (logRoot.emptyDirectories > 0) {
    ReportEntry(report, L"        Empty dirs: %d\n", logRoot.emptyDirectories);
  }
  ReportEntry(report, L"             Files: %d\n", logRoot.files);
  ReportEntry(report, L"   Total file size: %ls\n", EditValue(logRoot.totalFileSize, text));
  if (allocSize != 0) {
    ReportEntry(report, L"    Allocated size: %ls\n", EditValue(allocSize, text));
  }
  ReportEntry(report, L"   Volume capacity: %ls\n", EditValue(logRoot.volumeCapacity, text));
  ReportEntry(report, L"   Available space: %ls\n", EditValue(logRoot.availableSpace, text));
}

void WriteSecurityCounts(Report& report) {
  ReportEntry(report, L"\n        Unique SDs: %d\n", logHdr.uniqueSds);
  ReportEntry(report, L"              SIDs: %d\n", logHdr.sids);
  if (logHdr.orphanedSids > 0) {
    ReportEntry(report, L"         orphaned SIDs: %d\n", logHdr.orphanedSids);
  }
  if (logHdr.orphanedAsOwner > 0) {
    ReportEntry(report, L"              as owner: %d\n", logHdr.orphanedAsOwner);
  }
  if (hasSACLs) {
    ReportEntry(report, L"      SACLs are present\n");
  } else {
    ReportEntry(report, L"      SACLs are not present\n");
  }
}

// "up to 1024", or "more than 1048576" for the last band, which has no limit of its own.
std::wstring SizeBandLabel(size_t index) {
  if (index + 1 < sizeBands.limits.size()) {
    return Formatted(L"up to %lld", sizeBands.limits[index]);
  }
  return Formatted(L"more than %lld", index > 0 ? sizeBands.limits[index - 1] : uint64_t{0});
}

void WriteSizeBands(Report& report) {
  ReportEntry(report, L"---- File size distribution\n\n");
  for (size_t i = 0; i < sizeBands.limits.size(); ++i) {
    ReportEntry(report, L"%24ls: %d\n", SizeBandLabel(i), SizeBandCount(i));
  }
  ReportEntry(report, L"\n");
}

struct DateBands {
  std::wstring_view label;
  const BandTable& bands;
};

// The fields of the CSV form, by code.
struct SummaryField {
  SummaryFieldCode code;
  void (*write)(Report& report, std::string_view dtlName);
};
constexpr std::array<SummaryField, 11> kSummaryFields = {{
    {kSummaryTag, [](Report& r, std::string_view) { ReportEntry(r, L"%ls", tagStr); }},
    {kSummaryServer, [](Report& r, std::string_view) { ReportEntry(r, L"%ls", fsysHost); }},
    {kSummaryRoot, [](Report& r, std::string_view) { ReportEntry(r, L"%ls", qvaRoot); }},
    {kSummaryType, [](Report& r, std::string_view) { ReportEntry(r, L"%ls", ScanKind()); }},
    {kSummaryTimestamp,
     [](Report& r, std::string_view) {
       const wchar_t* format = dateFmt ? dateFmt->c_str() : nullptr;
       TimeText text;
       ReportEntry(r, L"%ls", FormatFileTime(logHdr.scanTime, format, text));
     }},
    {kSummaryTotalBytes,
     [](Report& r, std::string_view) { ReportEntry(r, L"%lld", logRoot.volumeCapacity); }},
    {kSummaryFreeBytes,
     [](Report& r, std::string_view) { ReportEntry(r, L"%lld", logRoot.availableSpace); }},
    {kSummaryFileSize,
     [](Report& r, std::string_view) { ReportEntry(r, L"%lld", logRoot.totalFileSize); }},
    {kSummaryFiles, [](Report& r, std::string_view) { ReportEntry(r, L"%d", logRoot.files); }},
    {kSummaryDirs, [](Report& r, std::string_view) { ReportEntry(r, L"%d", logRoot.directories); }},
    {kSummaryDtlName, [](Report& r, std::string_view dtlName) { ReportEntry(r, L"%s", dtlName); }},
}};

}  // namespace

void SummaryReport(Report& report, std::string_view dtlName, const VersionBlock& version) {
  DisplayReportFile(report);
  if (report.format == kFormatCsv) {
    SummaryCsvReport(report, dtlName);
    return;
  }
  DisplayReportFile(report);  // the text form is announced twice. Kept so.
  WriteSource(report, dtlName, version);
  WriteRootName(report);
  WriteTotals(report);
  if (rootType == kRootCifs) {
    WriteCounts(report, kCifsCounts);
    WriteSecurityCounts(report);
  } else {
    WriteCounts(report, kNfsCounts);
  }
  ReportEntry(report, L"\n");
  if (!sizeBands.empty()) WriteSizeBands(report);
  for (const DateBands& part :
       {DateBands{L"CREATE", cdateBands}, {L"MODIFY", mdateBands}, {L"ACCESS", adateBands}}) {
    if (!part.bands.empty()) DateBandReport(report, part.label, part.bands);
  }
}

void SummaryCsvReport(Report& report, std::string_view dtlName) {
  bool first = true;
  for (const char code : report.fields) {
    if (!first) ReportEntry(report, L"%c", csvSep);
    first = false;
    for (const SummaryField& field : kSummaryFields) {
      if (field.code == code) field.write(report, dtlName);
    }
  }
  ReportEntry(report, L"\n");
}

void DateBandReport(Report& report, std::wstring_view label, const BandTable& bands) {
  ReportEntry(report, L"---- File date distribution: %ls\n\n", label);
  TimeText date;
  uint32_t older = bands.empty() ? 0 : DateBandCount(bands, bands.count() - 1);
  for (size_t i = bands.limits.size(); i-- > 0;) {
    ReportEntry(report, L"     %ls:  %d\n", FormatFileTime(bands.limits[i], L"%d-%b-%y", date),
                older);
    older -= bands.hits[i];  // those between this date and the one before it
  }
  ReportEntry(report, L"\n");
}

}  // namespace tabulon
