// The codes of the report types. The scan selects records by them, the configuration gives them
// their keywords.
#pragma once

#include <cstdint>

namespace tabulon {

// Report type codes. Codes whose low byte is 0 list records; codes in 0x10 to 0xF0 group them.
enum ReportType : uint32_t {
  kReportSummary = 0x1,
  kReportSidUse = 0x2,
  kReportTotals = 0x3,
  kReportFiletypes = 0x10,
  kReportOwnerTotals = 0x20,
  kReportUidTotals = 0x30,
  kReportGidTotals = 0x40,
  kReportCompressed = 0x100,
  kReportOffline = 0x200,
  kReportEncrypted = 0x300,
  kReportNoOwner = 0x500,
  kReportOrphanOwner = 0x600,
  kReportNoGroup = 0x700,
  kReportOrphanGroup = 0x800,
  kReportOrphanInAcl = 0x900,
  kReportAdsFiles = 0xA00,
  kReportLongPaths = 0xB00,
  kReportUtfRequired = 0xC00,
  kReportNameConflict = 0xD00,
  kReportCustom = 0xE00,
  kReportDuplicates = 0xF00,
  kReportSymlinks = 0x1000,
  kReportNfsStubs = 0x1100,
  kReportMountPoints = 0x2000,
  kReportJunctionPoints = 0x3000,
  kReportSubdirCount = 0x4000,
};
inline constexpr uint32_t kGroupingTypes = 0xF0;  // any of these bits: a grouping report
inline constexpr uint32_t kNotRecordList = 0xFF;  // none of these bits: a record-list report

}  // namespace tabulon
