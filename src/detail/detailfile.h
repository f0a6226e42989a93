// The open detail file: its blocks, its strings, what follows from them for the whole run, and the
// way in and out of its compressed form.
#pragma once

#include <cstdint>
#include <string>

#include "base/uniquefd.h"
#include "detail/dtlformat.h"

namespace tabulon {

inline constexpr int kRootCifs = 1;
inline constexpr int kRootNfs = 2;

// All set by LoadDetailFile before the scan, read afterwards.
extern UniqueFd dtlFile;  // the open detail file
extern LogHeader logHdr;
extern LogRoot logRoot;
extern std::wstring srvrName;   // server name
extern std::wstring rootPath;   // scanned root
extern std::wstring fsysHost;   // filesystem host; the server name when the file names none
extern std::wstring qvaRoot;    // root as named for the QVA output
extern std::wstring tagStr;     // QVA tag, trimmed; a first blank means there is none
extern std::wstring sharePath;  // share; empty when the file names none
extern bool sharePathKnown;
extern int rootType;               // kRootCifs or kRootNfs
extern wchar_t pathSep;            // '\\' for CIFS, '/' for NFS
extern bool hasSACLs;              // CIFS only
extern bool diskLtrRoot;           // the CIFS root path ends in a backslash
extern bool dtlRev7_OrHigher;      // records may carry alternate-stream entries
extern bool dtlVersionHdrPresent;  // the file has a version block

// Layout of the open file's records.
const RecordLayout& DetailRecordLayout();

// Opens the file named by -dtl, inflating it in place first when it is compressed (then
// *wasCompressed becomes 1). Every failure ends the run. At every moment a whole copy of the scan
// is on disk: under `name`, or as "<name>-<seconds since 1970>.tmp" beside it. A compressed file
// that turns out to be damaged is kept as "<name>.damaged", and what could be inflated takes its
// place.
UniqueFd OpenDtlFile(const char* name, const char* mode, uint32_t* wasCompressed);
// Closes the file and, when the mark is set, compresses it back in place with the same care. A
// failure ends the run; when the compressed file could not be written the plain one stays.
void CloseDtlFile(UniqueFd file, const char* name, uint32_t wasCompressed);

// Reads and checks header, root block, version block and strings of `dtlFile` and sets the globals
// above. `adsFull` and `qvaWanted` are the options that the file must support; a file that does not
// fit ends the run with its message, which calls it `name`. Blocks that the file ends in are read
// as if zeros followed.
void LoadDetailFile(const char* name, bool adsFull, bool qvaWanted, VersionBlock& version);

// The string at file offset `offset`: a u16 byte length, then UTF-16 units, each sign-extended (a
// unit of 0x8000 or more becomes negative: kept so). Ends at its first zero unit or at its length;
// a length of 32768 or more counts as 0.
std::wstring ReadHeaderString(int fd, uint64_t offset);

// Puts the globals back to their defaults.
void ResetDetailFile();

}  // namespace tabulon
