#include "reports/summary.h"

#include <array>
#include <span>
#include <string>

#include "base/loganderr.h"
#include "config/reportdefs.h"
#include "config/settings.h"
#include "detail/scandetail.h"
#include "reports/reportwriter.h"
#include "reports/valueformat.h"

namespace tabulon {
namespace {

std::wstring_view ScanKindName(const Scan& scan) {
  return scan.isCifs() ? L"CIFS" : L"NFS";
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

void WriteCounts(Report& report, const Scan& scan, std::span<const CountLine> lines) {
  for (const CountLine& line : lines) {
    const uint32_t count = scan.logRoot.counts[line.index];
    if (count > 0) ReportEntry(report, line.format, count);
  }
}

void WriteSource(Report& report, const SummarySource& source) {
  const Scan& scan = source.scan;
  const VersionBlock& version = scan.version;
  TimeText created;
  ReportEntry(report, L"\n\nVelmora Filesystem Audit Summary Report\n\n");
  ReportEntry(report, L"Source file: %s, Created: %ls\n\n", source.dtlName,
              FormatFileTime(scan.logHdr.scanTime, L"%a, %#d %b, %Y at %X", created));
  ReportEntry(report, L"Server: %ls", scan.srvrName);
  if (scan.dtlVersionHdrPresent) {
    ReportEntry(report, L"\n\nScan Version : %s\nBuild Platform : %s\nBuild Architecture : %s\n\n",
                version.scanVersion, version.buildPlatform, version.buildArchitecture);
    // Standard output gets them too, without a line end, wherever the report goes. Kept so.
    ConsoleEntry(Console(), L"%s %s %s", version.scanVersion, version.buildPlatform,
                 version.buildArchitecture);
  }
  if (!scan.tagStr.starts_with(L' ')) ReportEntry(report, L",  QVA tag: %ls", scan.tagStr);
}

void WriteRootName(Report& report, const Scan& scan) {
  ReportEntry(report, L"\n---- Totals for %ls root: %ls", ScanKindName(scan), scan.rootPath);
  if (!scan.rootPath.starts_with(L'\\')) {
    if (scan.sharePathKnown) {
      ReportEntry(report, L" (%ls)", scan.sharePath);
    } else {
      ReportEntry(report, L" (local %ls)", scan.isCifs() ? L"disk" : L"filesystem");
    }
  }
  ReportEntry(report, L"\n\n");
}

void WriteTotals(Report& report, const Scan& scan) {
  ValueText text;
  ReportEntry(report, L"       Directories: %d\n", scan.logRoot.directories);
  if (scan.logRoot.emptyDirectories > 0) {
    ReportEntry(report, L"        Empty dirs: %d\n", scan.logRoot.emptyDirectories);
  }
  ReportEntry(report, L"             Files: %d\n", scan.logRoot.files);
  ReportEntry(report, L"   Total file size: %ls\n", EditValue(scan.logRoot.totalFileSize, text));
  if (allocSize != 0) {
    ReportEntry(report, L"    Allocated size: %ls\n", EditValue(allocSize, text));
  }
  ReportEntry(report, L"   Volume capacity: %ls\n", EditValue(scan.logRoot.volumeCapacity, text));
  ReportEntry(report, L"   Available space: %ls\n", EditValue(scan.logRoot.availableSpace, text));
}

void WriteSecurityCounts(Report& report, const Scan& scan) {
  ReportEntry(report, L"\n        Unique SDs: %d\n", scan.logHdr.uniqueSds);
  ReportEntry(report, L"              SIDs: %d\n", scan.logHdr.sids);
  if (scan.logHdr.orphanedSids > 0) {
    ReportEntry(report, L"         orphaned SIDs: %d\n", scan.logHdr.orphanedSids);
  }
  if (scan.logHdr.orphanedAsOwner > 0) {
    ReportEntry(report, L"              as owner: %d\n", scan.logHdr.orphanedAsOwner);
  }
  if (scan.hasSACLs) {
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
  void (*write)(Report& report, const SummarySource& source);
};
using Source = SummarySource;
constexpr std::array<SummaryField, 11> kSummaryFields = {{
    {kSummaryTag, [](Report& r, const Source& s) { ReportEntry(r, L"%ls", s.scan.tagStr); }},
    {kSummaryServer, [](Report& r, const Source& s) { ReportEntry(r, L"%ls", s.scan.fsysHost); }},
    {kSummaryRoot, [](Report& r, const Source& s) { ReportEntry(r, L"%ls", s.qvaRoot); }},
    {kSummaryType,
     [](Report& r, const Source& s) { ReportEntry(r, L"%ls", ScanKindName(s.scan)); }},
    {kSummaryTimestamp,
     [](Report& r, const Source& s) {
       const wchar_t* format = dateFmt ? dateFmt->c_str() : nullptr;
       TimeText text;
       ReportEntry(r, L"%ls", FormatFileTime(s.scan.logHdr.scanTime, format, text));
     }},
    {kSummaryTotalBytes,
     [](Report& r, const Source& s) { ReportEntry(r, L"%lld", s.scan.logRoot.volumeCapacity); }},
    {kSummaryFreeBytes,
     [](Report& r, const Source& s) { ReportEntry(r, L"%lld", s.scan.logRoot.availableSpace); }},
    {kSummaryFileSize,
     [](Report& r, const Source& s) { ReportEntry(r, L"%lld", s.scan.logRoot.totalFileSize); }},
    {kSummaryFiles,
     [](Report& r, const Source& s) { ReportEntry(r, L"%d", s.scan.logRoot.files); }},
    {kSummaryDirs,
     [](Report& r, const Source& s) { ReportEntry(r, L"%d", s.scan.logRoot.directories); }},
    {kSummaryDtlName, [](Report& r, const Source& s) { ReportEntry(r, L"%s", s.dtlName); }},
}};

}  // namespace

void SummaryReport(Report& report, const SummarySource& source) {
  DisplayReportFile(report);
  if (report.format == kFormatCsv) {
    SummaryCsvReport(report, source);
    return;
  }
  DisplayReportFile(report);  // the text form is announced twice. Kept so.
  const Scan& scan = source.scan;
  WriteSource(report, source);
  WriteRootName(report, scan);
  WriteTotals(report, scan);
  if (scan.isCifs()) {
    WriteCounts(report, scan, kCifsCounts);
    WriteSecurityCounts(report, scan);
  } else {
    WriteCounts(report, scan, kNfsCounts);
  }
  ReportEntry(report, L"\n");
  if (!sizeBands.empty()) WriteSizeBands(report);
  for (const DateBands& part :
       {DateBands{L"CREATE", cdateBands}, {L"MODIFY", mdateBands}, {L"ACCESS", adateBands}}) {
    if (!part.bands.empty()) DateBandReport(report, part.label, part.bands);
  }
}

void SummaryCsvReport(Report& report, const SummarySource& source) {
  bool first = true;
  for (const char code : report.fields) {
    if (!first) ReportEntry(report, L"%c", csvSep);
    first = false;
    for (const SummaryField& field : kSummaryFields) {
      if (field.code == code) field.write(report, source);
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
