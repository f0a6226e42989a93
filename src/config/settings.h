// Settings of the run that the command line and the configuration's [parameters] section make, read
// by the configuration and the reports.
#pragma once

#include <cstdint>
#include <list>
#include <optional>
#include <string>

namespace tabulon {

// Set by the driver from the command line.
extern bool qvaFlag;  // -qva: one QVA output file for all reports, with tag lines
extern bool dbgFlag;  // -z: keep the duplicate finder's files, named, in the working directory
extern bool adsFull;  // -adsfull: list alternate data streams as lines of their own
extern std::list<std::wstring> catList;  // -cat: selected report categories; "all" stands first

// Forms of report text.
enum TextFormat { kTextStandard = 1, kTextUnicode = 2 };

// Set by [parameters] lines (reportDir by -rdir first); the defaults are the initial values.
extern std::optional<std::string> reportDir;  // directory of the report files, in the bytes
                                              // that were given; none = current
extern std::optional<std::wstring> dateFmt;   // wcsftime format of printed dates; none = "%x %X"
extern wchar_t csvSep;                // 0 until set; ',' once the configuration has been read
extern int csvHdrs;                   // 1: CSV files begin with a header row (default)
extern std::wstring maxPathUnitName;  // printed name of maxPathUnits, "UTF-8 encoded bytes"
extern std::wstring isoCodeName;      // printed name of isoCodepage, "8859-1"
extern int aclPerms;                  // permission display form: 1 simple, 2 standard, 3 hex
extern int textFormat;                // TextFormat, default kTextStandard
extern uint32_t pathFormDflt;         // default path form of a report: kFlagRelative or (default)
                                      // kFlagAbsolute
extern uint32_t namesDflt;  // default name form: kFlagFileInDir (default) or kFlagFullPath

// Puts every setting back to its default (for tests).
void ResetSettings();

}  // namespace tabulon
