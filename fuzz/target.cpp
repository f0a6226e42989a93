#include "fuzz/target.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <clocale>
#include <cstdlib>

#include "base/fileio.h"
#include "base/loganderr.h"
#include "base/memory.h"
#include "fuzz/sandbox.h"

namespace tabulon {
namespace {

bool Prepare() {
  std::setlocale(LC_ALL, "C.UTF-8");
  setenv("TMPDIR", FastDirectory().c_str(), 1);
  static Logs logs;
  logs.listStream.Attach(open("/dev/null", O_WRONLY | O_CLOEXEC), true, TextEncoding::kLocale,
                         "nowhere");
  logs.logFile = logs.errFile = &logs.listStream;
  // Messages on the console show nothing that the fuzzer could use.
  const UniqueFd null(open("/dev/null", O_WRONLY | O_CLOEXEC));
  dup2(null.get(), STDOUT_FILENO);
  return true;
}

}  // namespace

bool RunPart(const std::function<void()>& part) {
  [[maybe_unused]] static const bool prepared = Prepare();
  try {
    part();
  } catch (const EndOfRun&) {
    return false;
  }
  return true;
}

UniqueFd MemoryFile(std::string_view bytes) {
  static const int file = memfd_create("input", MFD_CLOEXEC);
  Require(ftruncate(file, 0) == 0 && WriteFullyAt(file, bytes.data(), bytes.size(), 0));
  lseek(file, 0, SEEK_SET);
  return UniqueFd(dup(file));
}

void Require(bool holds) {
  if (!holds) std::abort();
}

}  // namespace tabulon
