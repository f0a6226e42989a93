#include "reports/reportkinds.h"

#include <algorithm>

#include "base/format.h"
#include "reports/duplicates.h"
#include "reports/filetypes.h"
#include "reports/listing.h"
#include "reports/siduse.h"
#include "reports/summary.h"
#include "reports/totals.h"

namespace tabulon {
namespace {

// The default titles that show a parameter's value as it is when the report is read.
std::wstring LongPathsTitle(const Settings& settings) {
  return Formatted(L"Files with pathnames exceeding %d %ls", settings.maxPath,
                   settings.maxPathUnitName);
}
std::wstring UtfRequiredTitle(const Settings& settings) {
  return Formatted(L"Files with names requiring UTF-8 based on codepage %ls", settings.isoCodeName);
}

constexpr bool kOnCifsOnly = true;

// What listings select beside their filters: a test with its bits. A kind for all scans whose bits
// have no meaning on an NFS scan (kOnCifsOnly) selects nothing there.
constexpr RecordSelector Flagged(uint32_t mask) {
  return {.flags = mask};
}
constexpr RecordSelector WithAttribute(uint32_t mask) {
  return {.attributes = mask, .cifsOnly = kOnCifsOnly};
}
constexpr RecordSelector kAnyFile = {};
constexpr RecordSelector kAnyDirectory = {.directories = true};
constexpr RecordSelector kLongPath = {.test = HasLongPath};
constexpr RecordSelector kShortName = {.test = HasShortName, .cifsOnly = kOnCifsOnly};
constexpr RecordSelector kNeedsUtf = {.test = NeedsUtf};

constexpr uint32_t kAllScans = 0;
constexpr std::wstring_view kListingLine = L"Doing DisplayReport.\n";
constexpr std::wstring_view kFiletypesLine = L"Doing FiletypeReport.\n";

}  // namespace

// clang-format off
constexpr std::array<ReportKind, 26> kReportKinds = {{
    {L"summary", kReportSummary, kAllScans, L"Audit summary", L"Doing SummaryReport.\n", MakeSummary},
    {L"siduse", kReportSidUse, kCifsOnly, L"SID use totals", L"Doing DisplaySidUse Report.\n", MakeSidUse},
    {L"compressed", kReportCompressed, kCifsOnly, L"Compressed files", kListingLine, MakeListing, WithAttribute(kAttrCompressed)},
    {L"offline", kReportOffline, kAllScans, L"Offline files", kListingLine, MakeListing, WithAttribute(kAttrOffline)},
    {L"encrypted", kReportEncrypted, kCifsOnly, L"Encrypted files", kListingLine, MakeListing, WithAttribute(kAttrEncrypted)},
    {L"noowner", kReportNoOwner, kCifsOnly, L"Files with no owner SID", kListingLine, MakeListing, Flagged(kRecordNoOwner)},
    {L"orphanowner", kReportOrphanOwner, kCifsOnly, L"Files with orphan owner SIDs", kListingLine, MakeListing, Flagged(kRecordOrphanOwner)},
    {L"nogroup", kReportNoGroup, kCifsOnly, L"Files with no group SID", kListingLine, MakeListing, Flagged(kRecordNoGroup)},
    {L"orphangroup", kReportOrphanGroup, kCifsOnly, L"Files with orphan group SIDs", kListingLine, MakeListing, Flagged(kRecordOrphanGroup)},
    {L"orphaninacl", kReportOrphanInAcl, kCifsOnly, L"Files with orphan SIDs in ACL", kListingLine, MakeListing, Flagged(kRecordOrphanInAcl)},
    {L"adsfiles", kReportAdsFiles, kCifsOnly, L"Files with Alternate Data Stream", kListingLine, MakeListing, Flagged(kRecordHasStreams)},
    {L"longpaths", kReportLongPaths, kAllScans, {}, kListingLine, MakeListing, kLongPath, LongPathsTitle},
    {L"utfrequired", kReportUtfRequired, kCifsOnly, {}, kListingLine, MakeListing, kNeedsUtf, UtfRequiredTitle},
    {L"nameconflict", kReportNameConflict, kAllScans, L"Files with potential long/short name conflicts", kListingLine, MakeListing, kShortName},
    {L"custom", kReportCustom, kAllScans, L"Custom file report", kListingLine, MakeListing, kAnyFile},
    {L"duplicates", kReportDuplicates, kAllScans, L"Duplicate file report", L"Doing DuplicateReport.\n", MakeDuplicates},
    {L"totals", kReportTotals, kAllScans, L"Report totals", L"Doing TotalsReport.\n", MakeTotals},
    {L"symlinks", kReportSymlinks, kAllScans, L"Symbolic links", kListingLine, MakeListing, Flagged(kRecordSymlink)},
    {L"mountpoints", kReportMountPoints, kCifsOnly, L"Mount point links", kListingLine, MakeListing, Flagged(kRecordMountPoint)},
    {L"junctionpoints", kReportJunctionPoints, kCifsOnly, L"Junction point links", kListingLine, MakeListing, Flagged(kRecordJunction)},
    {L"filetypes", kReportFiletypes, kAllScans, L"File type totals", kFiletypesLine, MakeFileTypes},
    {L"ownertotals", kReportOwnerTotals, kCifsOnly, L"Totals by owner", kFiletypesLine, MakeOwnerTotals},
    {L"uidtotals", kReportUidTotals, kNfsOnly, L"Totals by UID", kFiletypesLine, MakeUidTotals},
    {L"gidtotals", kReportGidTotals, kNfsOnly, L"Totals by GID", kFiletypesLine, MakeGidTotals},
    {L"nfsstubs", kReportNfsStubs, kNfsOnly, L"NFS stub files", kListingLine, MakeListing, Flagged(kRecordNfsStub)},
    {L"subdircount", kReportSubdirCount, kAllScans, L"Subdirectory Counts", kListingLine, MakeListing, kAnyDirectory},
}};
// clang-format on

static_assert(
    [] {
      for (size_t i = 0; i < kReportKinds.size(); ++i) {
        for (size_t j = 0; j < i; ++j) {
          if (kReportKinds[i].keyword == kReportKinds[j].keyword) return false;
          if (kReportKinds[i].code == kReportKinds[j].code) return false;
        }
      }
      return !kReportKinds.back().keyword.empty();
    }(),
    "a keyword and a code stand for one kind");

const ReportKind& KindOf(uint32_t code) {
  return *std::ranges::find(kReportKinds, code, &ReportKind::code);
}

}  // namespace tabulon
