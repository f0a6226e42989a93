// The result of a command: the writer's file, compressed at the end when that was asked for, and
// the words for success and failure.
#pragma once

#include <sys/stat.h>

#include "tools/mkdtl/commands.h"
#include "tools/scanwriter/outputfile.h"

namespace tabulon {

class ScanOutput {
 public:
  explicit ScanOutput(const OutputOptions& options) : options_(options) {}

  // Each of these tells its failure on standard error and returns false.
  bool Open();
  // Finishes `writer`, whose sink must be sink(), and gives the result its name.
  bool Finish(DtlWriter& writer);

  DtlSink& sink() { return plain_; }
  // Whether this is one of the files that the result is being written to.
  bool Owns(const struct stat& file) const;

 private:
  bool Compress();
  bool Fail(int error) const;

  OutputOptions options_;
  OutputFile plain_;
  OutputFile packed_;
};

}  // namespace tabulon
