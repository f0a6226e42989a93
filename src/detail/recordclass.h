// Tests that a listing report's type makes on a record before its filter is asked.
#pragma once

#include <cstdint>
#include <string_view>

#include "detail/scanrecord.h"

namespace tabulon {

// Units in which a path's length is counted.
enum MaxPathUnits { kPathCharacters = 1, kPathWideBytes = 2, kPathUtfBytes = 3 };

// Set by the configuration.
extern uint32_t maxPath;  // longest path that is not reported, in units (default 1024)
extern int maxPathUnits;  // MaxPathUnits (default kPathUtfBytes)
extern int isoCodepage;   // part number of ISO 8859 (default 1)

// What a report type asks of a record on the scan at hand, looked up once for all records.
struct RecordSelector {
  bool never = true;         // the type selects nothing here
  bool directories = false;  // directories are asked for (the subdirectory counts), else files
  bool (*test)(const ScanRecord& record, uint32_t mask) = nullptr;  // null: all of them
  uint32_t mask = 0;

  bool SelectsEveryFile() const { return !never && !directories && test == nullptr; }
  bool Selects(const ScanRecord& record) const {
    return !never && record.fields().isDirectory() == directories &&
           (test == nullptr || test(record, mask));
  }
};
RecordSelector SelectorOf(uint32_t type, const Scan& scan);

// Whether directory path and name together are longer than maxPath. One separator is counted
// between them unless the path ends in a backslash (on NFS scans too).
bool CheckPathLength(std::wstring_view directory, std::wstring_view name);
// Whether a name has the form of a generated short name, such as PROGRA~1.TXT.
bool ConflictName(std::wstring_view name);
// Whether a name holds a unit that ISO 8859 part `codepage` lacks. Units below 256 never count.
bool UtfRequired(int codepage, std::wstring_view name);

}  // namespace tabulon
