// The scan's file for the time of a run. A compressed file is inflated beside itself, into a copy
// that this run alone reads; the file itself is never written to. Only after a query does the copy
// take its place, by one rename.
//
// Runs that read one file at the same time hold a shared lock on it (flock(2)). A rename needs an
// exclusive one. Where the file system has no locks, the run goes on without.
#pragma once

#include <string>

#include "base/fileio.h"
#include "base/tempfile.h"
#include "detail/filereplace.h"

namespace tabulon {

struct DetailFile {
  std::string name;   // as given
  UniqueFd file;      // what `name` stood for when it was opened, under a shared lock
  FileState opened;   // of `file`, before its first byte was read
  TempFile copy;      // the inflated form; valid for a compressed file only
  bool whole = true;  // a compressed file that is damaged or changed: the copy is not the scan

  bool wasCompressed() const { return copy.valid(); }
  // A descriptor of the plain scan, at its beginning, for LoadScan to own.
  UniqueFd Plain() const;
};

// Opens the file named by -dtl, inflating it when it is compressed. `mode` is "rb". Every failure
// ends the run, and leaves the file as it is; so does a file that is no regular file. A compressed
// file that is damaged is told and makes the exit status 1; what could be inflated is read.
DetailFile OpenDtlFile(const char* name, const char* mode);

// Ends the use of the file on every road but a query: nothing of it stays but the file itself. A
// compressed file's name must still be there, and the name for its temporary file free, or the run
// ends with the message of that.
void CloseDtlFile(DetailFile& detail);

// Ends the use of the file after a query: the inflated copy takes the place of a compressed file,
// with its owner (where permitted) and mode, so that the next query need not inflate it. A symbolic
// link is followed. What keeps the copy from it (another run reads the file, somebody else has put
// another file there, the file is damaged, the disk refuses) is told; then the file stays
// compressed.
void KeepInflated(DetailFile& detail);

// Tells when the file is no longer what it was when it was opened, because it was written to while
// the run read it, and makes the exit status 1. To be called after the last byte has been read.
void CheckUnchanged(const DetailFile& detail);

}  // namespace tabulon
