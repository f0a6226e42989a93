// A result file that appears under its name only when it is whole: it is written beside that name
// and renamed at the end. Whatever ends the program before (a signal included, SIGKILL excepted)
// leaves neither a part of the result nor the temporary file; an older file of that name stays.
#pragma once

#include <sys/stat.h>

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/tempfile.h"
#include "tools/scanwriter/dtlwriter.h"

namespace tabulon {

// A file, and the name by which it is meant (without directories): a file may have other names,
// which mean it as the file that it was before.
struct NamedFile {
  dev_t device;
  ino_t inode;
  std::string name;
};

class OutputFile : public DtlSink {
 public:
  // Makes the temporary file for a result named `path`. False with errno set; EEXIST when
  // something other than a regular file has that name (a device must not be replaced).
  // REQUIRES: called once.
  bool Open(const std::string& path);

  bool Append(std::string_view bytes) override;
  bool Overwrite(uint64_t offset, std::string_view bytes) override;

  // Gives the file its name, after its bytes have reached the disk, and mode and owner (as far as
  // that is permitted) of the file of that name, if there was one at Open; a new one is for its
  // owner, its group may read it (mode 0640 less the process mask). False with errno set; the
  // temporary file is gone then.
  bool Commit();
  // Removes the temporary file, if there is one.
  void Discard() { file_.Remove(); }

  // The file that takes the bytes, open for reading and writing until Commit or Discard.
  int fd() const { return file_.fd(); }
  // Appends the files that are here for the result only: the temporary one, and the one that will
  // be replaced.
  void AppendOwnFiles(std::vector<NamedFile>& files) const;

 private:
  TempFile file_;  // beside the target
  std::string target_;
  std::optional<struct stat> replaced_;
};

}  // namespace tabulon
