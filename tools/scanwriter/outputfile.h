// A result file that appears under its name only when it is whole: it is written beside that name
// and renamed at the end. Whatever ends the program before (a signal included, SIGKILL excepted)
// leaves neither a part of the result nor the temporary file; an older file of that name stays.
#pragma once

#include <sys/stat.h>

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/uniquefd.h"
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
  OutputFile() = default;
  ~OutputFile() override { Discard(); }
  OutputFile(const OutputFile&) = delete;
  OutputFile& operator=(const OutputFile&) = delete;

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
  void Discard();

  // The file behind it, open for reading and writing until Commit or Discard.
  int fd() const { return fd_.get(); }
  // Appends the files that are here for the result only: the temporary one, and the one that will
  // be replaced.
  void AppendOwnFiles(std::vector<NamedFile>& files) const;

 private:
  UniqueFd fd_;
  std::string target_;
  std::string temporary_;
  std::optional<struct stat> replaced_;
};

// Makes the signals that end a program remove the temporary files first, except those that are
// ignored when it starts; lets a write beyond the file size limit fail like any other; and ends the
// program with a message of `program` when memory is exhausted, temporary files removed. Called
// once, before any thread is started.
void RemoveOutputWhenEnded(const char* program);

}  // namespace tabulon
