#include "bench/sample.h"

#include <sys/mman.h>

#include <clocale>
#include <cstdlib>

#include "base/fileio.h"
#include "base/loganderr.h"
#include "tests/support/stringsink.h"
#include "tools/mkdtl/commands.h"

namespace tabulon {
namespace {

constexpr uint32_t kRecords = 10'000;

// A file in memory.
UniqueFd MakeScan(ScanKind kind) {
  StringSink sink;
  UniqueFd file(memfd_create("sample", 0));
  if (!WriteSynth({.kind = kind, .records = kRecords, .output = {}}, sink) ||
      !WriteFully(file.get(), sink.text.data(), sink.text.size())) {
    std::abort();
  }
  return file;
}

}  // namespace

Sample& Sample::Use(ScanKind kind) {
  [[maybe_unused]] static Logs logs;
  std::setlocale(LC_ALL, "C.UTF-8");
  static Sample cifs(ScanKind::kCifs);
  static Sample nfs(ScanKind::kNfs);
  return kind == ScanKind::kCifs ? cifs : nfs;
}

Sample::Sample(ScanKind kind)
    : scan_(LoadScan(MakeScan(kind), "sample", {})), reader_(scan_), pass_(scan_) {
  // They stay: all of the file fits the reader's window.
  ForEachRecord([this](const ScanRecord& record) { names_.push_back(record.view.name); });
}

}  // namespace tabulon
