// Tests that a kind of listing makes on a record beside its filter.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "detail/scanrecord.h"

namespace tabulon {

// Units in which a path's length is counted.
enum MaxPathUnits { kPathCharacters = 1, kPathWideBytes = 2, kPathUtfBytes = 3 };

// What paths and names are held against.
struct NameLimits {
  uint32_t maxPath = 1024;           // longest path that is not reported, in units
  int maxPathUnits = kPathUtfBytes;  // MaxPathUnits
  int isoCodepage = 1;               // part number of ISO 8859
};

// A test of a record. `mask` is the bits that it asks for, if it asks for bits.
using RecordTest = bool (*)(const ScanRecord& record, uint32_t mask, const NameLimits& limits);
bool HasFlag(const ScanRecord& record, uint32_t mask, const NameLimits&);
bool HasAttribute(const ScanRecord& record, uint32_t mask, const NameLimits&);
bool HasLongPath(const ScanRecord& record, uint32_t, const NameLimits& limits);
bool HasShortName(const ScanRecord& record, uint32_t, const NameLimits&);
bool NeedsUtf(const ScanRecord& record, uint32_t, const NameLimits& limits);

// What a kind of listing selects, its filter aside.
struct RecordSelector {
  RecordTest test = nullptr;  // null: all of them
  uint32_t mask = 0;
  bool directories = false;  // directories are asked for (the subdirectory counts), else files
  bool cifsOnly = false;     // nothing is selected on NFS scans

  bool Selects(const ScanRecord& record, const NameLimits& limits) const {
    return record.fields().isDirectory() == directories &&
           (test == nullptr || test(record, mask, limits));
  }
};

// What the length of a path is made of.
struct TextSize {
  explicit TextSize(std::string_view ascii);
  explicit TextSize(std::wstring_view text);

  size_t characters;
  size_t utfBytes;  // no terminator
  bool endsInBackslash;
};

// Whether directory path and name together are longer than maxPath. One separator is counted
// between them unless the path ends in a backslash (on NFS scans too).
bool CheckPathLength(const TextSize& directory, const TextSize& name, const NameLimits& limits);
// Whether a name has the form of a generated short name, such as PROGRA~1.TXT. `Char` is char or
// wchar_t.
template <class Char>
bool ConflictName(std::basic_string_view<Char> name);
// Whether a name holds a unit that ISO 8859 part `codepage` lacks. Units below 256 never count.
bool UtfRequired(int codepage, std::wstring_view name);

}  // namespace tabulon
