// The words of the [report] sections that name report types and fields, with their codes. One table
// each, in the order in which they are searched.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "config/report.h"
#include "detail/scan.h"
#include "query/filter.h"

namespace tabulon {

// A report type. Bits 31 and 30 of the code word (kCifsOnly, kNfsOnly) tell the scans it is for,
// the rest is its ReportType.
struct ReportDef {
  std::wstring_view keyword;
  uint32_t codeWord;
  std::wstring_view title;                // default title
  std::wstring (*makeTitle)() = nullptr;  // makes it, when it shows a parameter's value
};

// The default titles that show a parameter's value as it stands when the report is read.
std::wstring LongPathsTitle();
std::wstring UtfRequiredTitle();

inline constexpr std::array<ReportDef, 26> rptDefs = {{
    {L"summary", kReportSummary, L"Audit summary"},
    {L"siduse", kReportSidUse | kCifsOnly, L"SID use totals"},
    {L"compressed", kReportCompressed | kCifsOnly, L"Compressed files"},
    {L"offline", kReportOffline, L"Offline files"},
    {L"encrypted", kReportEncrypted | kCifsOnly, L"Encrypted files"},
    {L"noowner", kReportNoOwner | kCifsOnly, L"Files with no owner SID"},
    {L"orphanowner", kReportOrphanOwner | kCifsOnly, L"Files with orphan owner SIDs"},
    {L"nogroup", kReportNoGroup | kCifsOnly, L"Files with no group SID"},
    {L"orphangroup", kReportOrphanGroup | kCifsOnly, L"Files with orphan group SIDs"},
    {L"orphaninacl", kReportOrphanInAcl | kCifsOnly, L"Files with orphan SIDs in ACL"},
    {L"adsfiles", kReportAdsFiles | kCifsOnly, L"Files with Alternate Data Stream"},
    {L"longpaths", kReportLongPaths, {}, LongPathsTitle},
    {L"utfrequired", kReportUtfRequired | kCifsOnly, {}, UtfRequiredTitle},
    {L"nameconflict", kReportNameConflict, L"Files with potential long/short name conflicts"},
    {L"custom", kReportCustom, L"Custom file report"},
    {L"duplicates", kReportDuplicates, L"Duplicate file report"},
    {L"totals", kReportTotals, L"Report totals"},
    {L"symlinks", kReportSymlinks, L"Symbolic links"},
    {L"mountpoints", kReportMountPoints | kCifsOnly, L"Mount point links"},
    {L"junctionpoints", kReportJunctionPoints | kCifsOnly, L"Junction point links"},
    {L"filetypes", kReportFiletypes, L"File type totals"},
    {L"ownertotals", kReportOwnerTotals | kCifsOnly, L"Totals by owner"},
    {L"uidtotals", kReportUidTotals | kNfsOnly, L"Totals by UID"},
    {L"gidtotals", kReportGidTotals | kNfsOnly, L"Totals by GID"},
    {L"nfsstubs", kReportNfsStubs | kNfsOnly, L"NFS stub files"},
    {L"subdircount", kReportSubdirCount, L"Subdirectory Counts"},
}};

// The type of that keyword, letter case ignored; null when there is none.
const ReportDef* FindReportType(std::wstring_view keyword);

// Codes of the detail fields of CSV lines.
enum FieldCode : uint8_t {
  kFieldName = 1,
  kFieldType = 2,
  kFieldSize = 3,
  kFieldAds = 4,
  kFieldCdate = 5,
  kFieldMdate = 6,
  kFieldAdate = 7,
  kFieldAttrs = 8,
  kFieldOwner = 9,
  kFieldGroup = 10,
  kFieldAcl = 11,
  kFieldTarget = 12,
  kFieldInode = 13,
  kFieldLinks = 14,
  kFieldUid = 15,
  kFieldGid = 16,
  kFieldMode = 17,
  kFieldSdirCount = 18,
};
// Scan restrictions in the code byte of a detail field. CheckFieldTypes removes them.
inline constexpr uint8_t kFieldCifsOnly = 0x80;
inline constexpr uint8_t kFieldNfsOnly = 0x40;
inline constexpr uint8_t kFieldCodeMask = 0x3F;

// Codes of the fields of a CSV summary.
enum SummaryFieldCode : uint8_t {
  kSummaryTag = 1,
  kSummaryServer = 2,
  kSummaryRoot = 3,
  kSummaryType = 4,
  kSummaryTimestamp = 5,
  kSummaryTotalBytes = 6,
  kSummaryFreeBytes = 7,
  kSummaryFileSize = 8,
  kSummaryFiles = 9,
  kSummaryDirs = 10,
  kSummaryDtlName = 11,
};

struct FieldDef {
  std::wstring_view keyword;
  uint8_t code;
};

inline constexpr std::array<FieldDef, 18> fldDefs = {{
    {L"name", kFieldName},
    {L"size", kFieldSize},
    {L"ads", kFieldAds | kFieldCifsOnly},
    {L"type", kFieldType},
    {L"cdate", kFieldCdate},
    {L"mdate", kFieldMdate},
    {L"adate", kFieldAdate},
    {L"owner", kFieldOwner | kFieldCifsOnly},
    {L"group", kFieldGroup | kFieldCifsOnly},
    {L"acl", kFieldAcl | kFieldCifsOnly},
    {L"attrs", kFieldAttrs | kFieldCifsOnly},
    {L"target", kFieldTarget | kFieldNfsOnly},
    {L"inode", kFieldInode | kFieldNfsOnly},
    {L"links", kFieldLinks | kFieldNfsOnly},
    {L"uid", kFieldUid | kFieldNfsOnly},
    {L"gid", kFieldGid | kFieldNfsOnly},
    {L"mode", kFieldMode | kFieldNfsOnly},
    {L"sdircount", kFieldSdirCount},
}};

inline constexpr std::array<FieldDef, 11> smryDefs = {{
    {L"tag", kSummaryTag},
    {L"server", kSummaryServer},
    {L"root", kSummaryRoot},
    {L"type", kSummaryType},
    {L"timestamp", kSummaryTimestamp},
    {L"totalbytes", kSummaryTotalBytes},
    {L"freebytes", kSummaryFreeBytes},
    {L"filesize", kSummaryFileSize},
    {L"files", kSummaryFiles},
    {L"dirs", kSummaryDirs},
    {L"dtlname", kSummaryDtlName},
}};

// Fields of the duplicates check; the codes are bits.
inline constexpr std::array<FieldDef, 5> dupFlds = {{
    {L"name", kDupName},
    {L"extension", kDupExtension},
    {L"mdate", kDupMdate},
    {L"cdate", kDupCdate},
    {L"size", kDupSize},
}};

// The fields that a CSV report shows when it names none.
inline constexpr uint8_t kDefaultFields[] = {kFieldName, kFieldSize, kFieldMdate};
inline constexpr uint8_t kDefaultSummaryFields[] = {kSummaryServer, kSummaryRoot, kSummaryTimestamp,
                                                    kSummaryDtlName};

// Code bytes of a "fields" value, a comma list of keywords in small letters. A detail list always
// begins with the name, wherever and whether it is named. An unknown keyword ends the run.
std::string ValidateFieldList(std::wstring_view value);
std::string ValidateSummaryFields(std::wstring_view value);
// Bits of a "dupcheck" value, keywords in any letter case. An unknown keyword ends the run.
uint32_t ValidateDupFields(std::wstring_view value);

// Ends the run at the first field of the report that the scan's kind does not have; takes the
// scan restrictions off the others. REQUIRES: the fields are detail or summary fields as validated.
void CheckFieldTypes(Report& report, const Scan& scan);

}  // namespace tabulon
