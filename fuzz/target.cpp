#include "fuzz/target.h"

#include <fcntl.h>

#include <clocale>
#include <cstdlib>

#include "base/localetext.h"
#include "base/loganderr.h"
#include "fuzz/samples.h"
#include "fuzz/sandbox.h"
#include "tests/support/openscan.h"

namespace tabulon {
namespace {

bool Prepare() {
  std::setlocale(LC_ALL, "C.UTF-8");
  setenv("TMPDIR", FastDirectory().c_str(), 1);
  SettleTimeZone();
  // Messages show nothing that the fuzzer could use.
  static Logs logs;
  for (TextStream* stream : {&logs.console, &logs.errorConsole}) {
    stream->Attach(open("/dev/null", O_WRONLY | O_CLOEXEC), true, TextEncoding::kLocale, "nowhere");
  }
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

const Scan& SampleScan(bool cifs) {
  static const Scan scans[] = {OpenInMemory(Samples()[5].bytes), OpenInMemory(Samples()[2].bytes)};
  return scans[cifs ? 1 : 0];
}

void Require(bool holds) {
  if (!holds) std::abort();
}

}  // namespace tabulon
