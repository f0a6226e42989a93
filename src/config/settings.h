// Settings of the run that the command line and the configuration's [parameters] section make, read
// by the configuration and the reports. The defaults are the initial values.
#pragma once

#include <cstdint>
#include <list>
#include <optional>
#include <string>

#include "base/usedfiles.h"
#include "detail/bands.h"
#include "detail/recordclass.h"

namespace tabulon {

// Forms of report text.
enum TextFormat { kTextStandard = 1, kTextUnicode = 2 };

// Forms of names and paths: flags of a report, and their defaults.
inline constexpr uint32_t kFlagFileInDir = 0x1;
inline constexpr uint32_t kFlagFullPath = 0x2;
inline constexpr uint32_t kFlagRelative = 0x10;
inline constexpr uint32_t kFlagAbsolute = 0x20;

struct Settings : NameLimits, DistributionLimits {
  // From the command line.
  bool qvaFlag = false;             // -qva: one QVA output file for all reports, with tag lines
  bool dbgFlag = false;             // -z: keep the duplicate finder's files, named, in the
                                    // working directory
  bool adsFull = false;             // -adsfull: list alternate data streams as lines of their own
  bool progressFlag = false;        // -p: progress marks on standard output
  std::list<std::wstring> catList;  // -cat: selected report categories; "all" comes first
  UsedFiles usedFiles;              // the scan, the configuration and the logs

  // From [parameters] lines (reportDir from -rdir first).
  std::optional<std::string> reportDir;  // directory of the report files, in the bytes that were
                                         // given; none = current
  std::optional<std::wstring> dateFmt;   // wcsftime format of printed dates; none = "%x %X"
  int scanDateRelative = 1;              // 1: relative dates count back from the scan time, 0: from
                                         // the current time
  uint32_t fileIncr = 0;                 // allocation unit in bytes, 0 = none
  wchar_t csvSep = 0;                    // 0 until set; ',' once the configuration has been read
  int csvHdrs = 1;                       // 1: CSV files begin with a header row
  std::wstring maxPathUnitName = L"UTF-8 encoded bytes";  // printed name of maxPathUnits
  std::wstring isoCodeName = L"8859-1";                   // printed name of isoCodepage
  int aclPerms = 2;                       // permission display form: 1 simple, 2 standard, 3 hex
  int textFormat = kTextStandard;         // TextFormat
  uint32_t pathFormDflt = kFlagAbsolute;  // path form of a report that names none
  uint32_t namesDflt = kFlagFileInDir;    // name form of a report that names none
};

}  // namespace tabulon
