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
  UniqueFd file;      // what `name` led to when it was opened, under a shared lock
  FileState opened;   // of `file`, before its first byte was read
  TempFile copy;      // the inflated form; valid for a compressed file only
  bool whole = true;  // a compressed file that is damaged or changed: the copy is not the scan

  bool wasCompressed() const { return copy.valid(); }
  // A descriptor of the plain scan, at its beginning, for LoadScan to own.
  UniqueFd Plain() const;
};

// Opens the file named by -dtl, inflating it when it is compressed. `mode` is "rb". Every failure
// ends the run and leaves the file as it is; a file that is no regular file is such a failure. Of a
// damaged compressed file, what could be inflated is read; the damage is told, and the exit status
// is 1.
DetailFile OpenDtlFile(const char* name, const char* mode);

// Ends the use of the file after anything but a query: the copy goes, the file is as it was. Of a
// compressed file, the name must still exist, and the name of its temporary file must be free; if
// not, the run ends with the message for that.
void CloseDtlFile(DetailFile& detail);

// Ends the use of the file after a query: the inflated copy takes the place of a compressed file,
// with its owner (where permitted) and mode, so that the next query need not inflate it. A symbolic
// link is followed. The file stays compressed, and the reason is told, when another run reads it,
// another file has come to its place, it is damaged, or the disk refuses.
void KeepInflated(DetailFile& detail);

// Tells when the file has changed since it was opened, because something wrote to it while the run
// read it, and makes the exit status 1. To be called after the last byte has been read.
void CheckUnchanged(const DetailFile& detail);

}  // namespace tabulon
