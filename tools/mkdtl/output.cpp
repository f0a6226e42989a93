#include "tools/mkdtl/output.h"

#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <system_error>

#include "tools/common/figures.h"
#include "tools/common/terminaltext.h"

namespace tabulon {
namespace {

// "9.07 GB (9,739,796,417 bytes)", or "17 bytes".
std::string Size(uint64_t bytes) {
  const std::string exact = Grouped(bytes) + " bytes";
  return bytes < 1024 ? exact : SizeText(bytes) + " (" + exact + ")";
}

}  // namespace

bool ScanOutput::Open() {
  if (!file_.Open(options_.path)) return Fail(errno);
  if (!options_.compress) return true;
  try {
    packed_.emplace(file_);
  } catch (const std::system_error& error) {  // no thread
    return Fail(error.code().value());
  }
  return true;
}

DtlSink& ScanOutput::sink() {
  if (packed_) return *packed_;
  return file_;
}

bool ScanOutput::Finish(DtlWriter& writer) {
  if (!writer.Finish()) return Fail(writer.error());
  if (packed_ && !packed_->Finish()) return Fail(errno);
  return file_.Commit() || Fail(errno);
}

void ScanOutput::TellResult(const DtlWriter& writer, std::string_view remark) const {
  const LogRoot& totals = writer.totals();
  const std::string line = ShownOn(STDOUT_FILENO, options_.path) + ": " + Grouped(totals.files) +
                           " files, " + Size(totals.totalFileSize) + ", " +
                           DurationText(std::chrono::steady_clock::now() - start_) +
                           std::string(remark) + "\n";
  std::fputs(line.c_str(), stdout);
}

std::vector<NamedFile> ScanOutput::OwnFiles() const {
  std::vector<NamedFile> files;
  file_.AppendOwnFiles(files);
  return files;
}

bool ScanOutput::Fail(int error) const {
  std::fprintf(stderr, "mkdtl: cannot write '%s': %s\n",
               ShownOn(STDERR_FILENO, options_.path).c_str(),
               error == EEXIST ? "it is there and no regular file" : std::strerror(error));
  return false;
}

}  // namespace tabulon
