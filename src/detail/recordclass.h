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

// A test of a record's texts.
using TextTest = bool (*)(const ScanRecord& record, const NameLimits& limits);
bool HasLongPath(const ScanRecord& record, const NameLimits& limits);
bool HasShortName(const ScanRecord& record, const NameLimits&);
bool NeedsUtf(const ScanRecord& record, const NameLimits& limits);

// What a kind of listing selects, its filter aside.
struct RecordSelector {
  TextTest test = nullptr;   // null: none
  uint32_t flags = 0;        // of which it has some; 0: any
  uint32_t attributes = 0;   // the same
  bool directories = false;  // directories are asked for (the subdirectory counts), else files
  bool cifsOnly = false;     // nothing is selected on NFS scans

  // What can be told without the record's texts: all but the test.
  bool Selects(const RecordFields& fields) const {
    return fields.isDirectory() == directories && (flags == 0 || (fields.flags() & flags) != 0) &&
           (attributes == 0 || (fields.attributes() & attributes) != 0);
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
