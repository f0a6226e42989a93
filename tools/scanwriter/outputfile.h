// A result file that appears under its name only when it is whole: it is written beside that name
// and renamed at the end. Whatever ends the program before (a signal included, SIGKILL excepted)
// leaves neither a part of the result nor the temporary file; an older file of that name stays.
#pragma once

#include <string>
#include <string_view>

#include "base/uniquefd.h"
#include "tools/scanwriter/dtlwriter.h"

namespace tabulon {

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

  // Gives the file its name, after its bytes have reached the disk. False with errno set; the
  // temporary file is gone then.
  bool Commit();
  // Removes the temporary file, if there is one.
  void Discard();

  // The file behind it, open for reading and writing until Commit or Discard.
  int fd() const { return fd_.get(); }

 private:
  UniqueFd fd_;
  std::string target_;
  std::string temporary_;
};

// Makes the signals that usually end a program (SIGHUP, SIGINT, SIGTERM) remove the temporary files
// first, and lets a write beyond the file size limit fail like any other.
void RemoveOutputOnSignals();

}  // namespace tabulon
