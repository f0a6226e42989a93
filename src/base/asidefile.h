// A file that keeps what it had until all that replaces it is there.
#pragma once

#include <string>

#include "base/fileio.h"
#include "base/tempfile.h"
#include "base/textstream.h"

namespace tabulon {

// The new contents are written to a temporary file beside it, which takes its name, its mode and
// its owner in the end. A symbolic link, a file with other links or an access list, one whose owner
// cannot be kept, a device, a pipe, and a file beside which nothing can be made are written
// directly.
//
// A file that is not there is made empty at first: a run that fails leaves it so, and a signal that
// ends the process removes it.
class AsideFile {
 public:
  // Makes sure that the file of this name can be written. One that will be written directly is
  // emptied. False with errno set.
  bool Prepare(std::string path);
  // Attaches `stream` to the file. False with errno set. REQUIRES: Prepare was successful.
  bool Open(TextStream& stream, TextEncoding encoding);
  // Closes the stream and puts the file in place if all has been written. Returns 0 or the number
  // of the system error; what the file had is kept then, unless it was written directly.
  int Close(TextStream& stream);

  const std::string& path() const { return path_; }

 private:
  bool MakeAside();

  std::string path_;
  UniqueFd special_;      // what is no regular file stays open: opening it again could mean
                          // something else
  bool existed_ = false;  // a regular file was there
  bool direct_ = false;   // written directly
  TempFile placeholder_;  // holds the file's name; Prepare made it when there was no such file
  TempFile aside_;        // while it is written
};

}  // namespace tabulon
