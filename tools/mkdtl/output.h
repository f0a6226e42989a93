// The result of a command: the writer's file, compressed on its way there when that was asked for,
// and the words for success and failure.
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tools/mkdtl/commands.h"
#include "tools/scanwriter/outputfile.h"
#include "tools/scanwriter/packedsink.h"

namespace tabulon {

class ScanOutput {
 public:
  explicit ScanOutput(const OutputOptions& options) : options_(options) {}

  // Tells its failure on standard error and returns false.
  bool Open();
  // Finishes `writer`, whose sink must be sink(), and gives the result its name. Failures are told
  // like those of Open.
  bool Finish(DtlWriter& writer);
  // Says on standard output what the result is, with `remark` at the end of the line.
  void TellResult(const DtlWriter& writer, std::string_view remark) const;

  // REQUIRES: Open has returned true.
  DtlSink& sink();
  // The files that are there for the result only.
  std::vector<NamedFile> OwnFiles() const;

 private:
  bool Fail(int error) const;

  OutputOptions options_;
  std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
  OutputFile file_;
  std::optional<PackedSink> packed_;  // ends its thread before the file goes
};

}  // namespace tabulon
