#include "reports/summary.h"

#include <array>
#include <span>
#include <string>

#include "base/loganderr.h"
#include "config/reportfields.h"
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

void WriteCounts(ReportOutput& output, const Scan& scan, std::span<const CountLine> lines) {
  for (const CountLine& line : lines) {
    const uint32_t count = scan.logRoot.counts[line.index];
    if (count > 0) ReportEntry(output, line.format, count);
  }
}

void WriteSource(ReportOutput& output, const ReportRun& run) {
  const Scan& scan = run.scan;
  const VersionBlock& version = scan.version;
  TimeText created;
  ReportEntry(output, L"\n\nVelmora Filesystem Audit Summary Report\n\n");
  ReportEntry(output, L"Source file: %s, Created: %ls\n\n", run.dtlName,
              FormatFileTime(scan.logHdr.scanTime, L"%a, %#d %b, %Y at %X", created));
  ReportEntry(output, L"Server: %ls", scan.srvrName);
  if (scan.dtlVersionHdrPresent) {
    ReportEntry(output, L"\n\nScan Version : %s\nBuild Platform : %s\nBuild Architecture : %s\n\n",
                version.scanVersion, version.buildPlatform, version.buildArchitecture);
    // Standard output gets them too, without a line end, wherever the report goes. Kept so.
    ConsoleEntry(Console(), L"%s %s %s", version.scanVersion, version.buildPlatform,
                 version.buildArchitecture);
  }
  if (!scan.tagStr.starts_with(L' ')) ReportEntry(output, L",  QVA tag: %ls", scan.tagStr);
}

void WriteRootName(ReportOutput& output, const Scan& scan) {
  ReportEntry(output, L"\n---- Totals for %ls root: %ls", ScanKindName(scan), scan.rootPath);
  if (!scan.rootPath.starts_with(L'\\')) {
    if (scan.sharePathKnown) {
      ReportEntry(output, L" (%ls)", scan.sharePath);
    } else {
      ReportEntry(output, L" (local %ls)", scan.isCifs() ? L"disk" : L"filesystem");
    }
  }
  ReportEntry(output, L"\n\n");
}

void WriteTotals(ReportOutput& output, const Scan& scan, uint64_t allocSize) {
  ValueText text;
  ReportEntry(output, L"       Directories: %d\n", scan.logRoot.directories);
  if (scan.logRoot.emptyDirectories > 0) {
    ReportEntry(output, L"        Empty dirs: %d\n", scan.logRoot.emptyDirectories);
  }
  ReportEntry(output, L"             Files: %d\n", scan.logRoot.files);
  ReportEntry(output, L"   Total file size: %ls\n", EditValue(scan.logRoot.totalFileSize, text));
  if (allocSize != 0) {
    ReportEntry(output, L"    Allocated size: %ls\n", EditValue(allocSize, text));
  }
  ReportEntry(output, L"   Volume capacity: %ls\n", EditValue(scan.logRoot.volumeCapacity, text));
  ReportEntry(output, L"   Available space: %ls\n", EditValue(scan.logRoot.availableSpace, text));
}

void WriteSecurityCounts(ReportOutput& output, const Scan& scan) {
  ReportEntry(output, L"\n        Unique SDs: %d\n", scan.logHdr.uniqueSds);
  ReportEntry(output, L"              SIDs: %d\n", scan.logHdr.sids);
  if (scan.logHdr.orphanedSids > 0) {
    ReportEntry(output, L"         orphaned SIDs: %d\n", scan.logHdr.orphanedSids);
  }
  if (scan.logHdr.orphanedAsOwner > 0) {
    ReportEntry(output, L"              as owner: %d\n", scan.logHdr.orphanedAsOwner);
  }
  if (scan.hasSACLs) {
    ReportEntry(output, L"      SACLs are present\n");
  } else {
    ReportEntry(output, L"      SACLs are not present\n");
  }
}

// "up to 1024", or "more than 1048576" for the last band, which has no limit of its own.
std::wstring SizeBandLabel(std::span<const uint64_t> limits, size_t index) {
  if (index + 1 < limits.size()) return Formatted(L"up to %lld", limits[index]);
  return Formatted(L"more than %lld", index > 0 ? limits[index - 1] : uint64_t{0});
}

void WriteSizeBands(ReportOutput& output, const BandTable& bands) {
  ReportEntry(output, L"---- File size distribution\n\n");
  for (size_t i = 0; i < bands.limits.size(); ++i) {
    ReportEntry(output, L"%24ls: %d\n", SizeBandLabel(bands.limits, i), SizeBandCount(bands, i));
  }
  ReportEntry(output, L"\n");
}

// The fields of the CSV form, by code.
struct SummaryField {
  SummaryFieldCode code;
  void (*write)(ReportOutput& output, const ReportRun& run);
};
using Source = ReportRun;
constexpr std::array<SummaryField, 11> kSummaryFields = {{
    {kSummaryTag, [](ReportOutput& r, const Source& s) { ReportEntry(r, L"%ls", s.scan.tagStr); }},
    {kSummaryServer,
     [](ReportOutput& r, const Source& s) { ReportEntry(r, L"%ls", s.scan.fsysHost); }},
    {kSummaryRoot, [](ReportOutput& r, const Source& s) { ReportEntry(r, L"%ls", s.qvaRoot); }},
    {kSummaryType,
     [](ReportOutput& r, const Source& s) { ReportEntry(r, L"%ls", ScanKindName(s.scan)); }},
    {kSummaryTimestamp,
     [](ReportOutput& r, const Source& s) {
       const std::optional<std::wstring>& chosen = s.settings.dateFmt;
       const wchar_t* format = chosen ? chosen->c_str() : nullptr;
       TimeText text;
       ReportEntry(r, L"%ls", FormatFileTime(s.scan.logHdr.scanTime, format, text));
     }},
    {kSummaryTotalBytes,
     [](ReportOutput& r, const Source& s) {
       ReportEntry(r, L"%lld", s.scan.logRoot.volumeCapacity);
     }},
    {kSummaryFreeBytes,
     [](ReportOutput& r, const Source& s) {
       ReportEntry(r, L"%lld", s.scan.logRoot.availableSpace);
     }},
    {kSummaryFileSize,
     [](ReportOutput& r, const Source& s) {
       ReportEntry(r, L"%lld", s.scan.logRoot.totalFileSize);
     }},
    {kSummaryFiles,
     [](ReportOutput& r, const Source& s) { ReportEntry(r, L"%d", s.scan.logRoot.files); }},
    {kSummaryDirs,
     [](ReportOutput& r, const Source& s) { ReportEntry(r, L"%d", s.scan.logRoot.directories); }},
    {kSummaryDtlName, [](ReportOutput& r, const Source& s) { ReportEntry(r, L"%s", s.dtlName); }},
}};

// What the header and the root block say, and what was counted for the distributions.
class Summary : public ReportAccumulator {
 public:
  Summary(const ReportDefinition& report, const ReportRun& run)
      : report_(report), run_(run), files_(run.settings, run.settings.fileIncr) {}

  // The CSV form shows nothing that is counted.
  bool wantsRecords() const override { return report_.format != kFormatCsv && files_.wanted(); }
  void Add(Pass& pass) override { files_.Add(pass.batch); }
  std::unique_ptr<ReportAccumulator> NewPart() override {
    return std::make_unique<Summary>(report_, run_);
  }
  void Merge(ReportAccumulator& part) override { files_.Merge(static_cast<Summary&>(part).files_); }
  void Write(ReportOutput& output) override;

 private:
  const ReportDefinition& report_;
  const ReportRun& run_;
  FileCounts files_;
};

void Summary::Write(ReportOutput& output) {
  DisplayReportFile(output);
  if (report_.format == kFormatCsv) {
    SummaryCsvReport(output, run_);
    return;
  }
  DisplayReportFile(output);  // the text form is announced twice. Kept so.
  const Scan& scan = run_.scan;
  WriteSource(output, run_);
  WriteRootName(output, scan);
  WriteTotals(output, scan, files_.allocSize());
  if (scan.isCifs()) {
    WriteCounts(output, scan, kCifsCounts);
    WriteSecurityCounts(output, scan);
  } else {
    WriteCounts(output, scan, kNfsCounts);
  }
  ReportEntry(output, L"\n");
  if (!files_.sizeBands().empty()) WriteSizeBands(output, files_.sizeBands());
  constexpr std::wstring_view kLabels[] = {L"CREATE", L"MODIFY", L"ACCESS"};
  for (size_t i = 0; i < std::size(kLabels); ++i) {
    const BandTable& bands = files_.dateBands()[i];
    if (!bands.empty()) DateBandReport(output, kLabels[i], bands);
  }
}

}  // namespace

std::unique_ptr<ReportAccumulator> MakeSummary(const ReportDefinition& report, ReportRun& run) {
  return std::make_unique<Summary>(report, run);
}

void SummaryCsvReport(ReportOutput& output, const ReportRun& run) {
  bool first = true;
  for (const char code : output.report().fields) {
    if (!first) ReportEntry(output, L"%c", output.settings().csvSep);
    first = false;
    for (const SummaryField& field : kSummaryFields) {
      if (field.code == code) field.write(output, run);
    }
  }
  ReportEntry(output, L"\n");
}

void DateBandReport(ReportOutput& output, std::wstring_view label, const BandTable& bands) {
  ReportEntry(output, L"---- File date distribution: %ls\n\n", label);
  TimeText date;
  uint32_t older = bands.empty() ? 0 : DateBandCount(bands, bands.limits.size() - 1);
  for (size_t i = bands.limits.size(); i-- > 0;) {
    ReportEntry(output, L"     %ls:  %d\n", FormatFileTime(bands.limits[i], L"%d-%b-%y", date),
                older);
    older -= bands.hits[i];  // those between this date and the one before it
  }
  ReportEntry(output, L"\n");
}

}  // namespace tabulon
