// The words of the [report] sections that name fields, with their codes. One table each, in the
// order in which they are searched.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "config/reportdefinition.h"
#include "detail/scan.h"

namespace tabulon {

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
void CheckFieldTypes(ReportDefinition& report, const Scan& scan);

}  // namespace tabulon
