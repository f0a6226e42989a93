#include "reports/dupdebugfiles.h"

#include <array>
#include <cstring>

#include "base/fileio.h"
#include "base/loganderr.h"
#include "base/tempfile.h"

namespace tabulon {
namespace {

constexpr size_t kRecordSize = 56;
constexpr size_t kCounterAt = 48;
constexpr size_t kPendingSize = 64 * 1024;

template <class T>
void Store(unsigned char* at, T value) {
  std::memcpy(at, &value, sizeof value);
}

std::array<unsigned char, kRecordSize> RecordOf(const Candidate& file, uint32_t sequence,
                                                uint32_t counter) {
  std::array<unsigned char, kRecordSize> bytes{};
  Store(bytes.data(), __builtin_bswap64(file.digest.high));
  Store(bytes.data() + 8, __builtin_bswap64(file.digest.low));
  Store(bytes.data() + 16, sequence);
  Store(bytes.data() + 24, file.size);
  Store(bytes.data() + 32, file.position);
  Store(bytes.data() + 40, file.directory);
  Store(bytes.data() + kCounterAt, counter);
  return bytes;
}

int fileNumber = 0;  // of the next file of a run

}  // namespace

void DupDebugFiles::NewRun() {
  const std::string name = "duptemp" + std::to_string(fileNumber++) + ".tmp";
  ConsoleEntry(Console(), L"new dup temp file: %s\n", name);
  runs_.emplace_back().file = TempFile::CreateNamed(name);
  if (!runs_.back().file.valid()) ErrExit(L"Unable to create duplicate tree temp file\n");
}

void DupDebugFiles::AddRun(std::span<const Candidate> files, std::span<const uint32_t> sequence) {
  Output& run = runs_[files.front().run];
  for (const uint32_t i : sequence) {
    const auto counter = i == 0 ? static_cast<uint32_t>(files.size() - 1) : 0;
    const auto record = RecordOf(files[i], i, counter);
    Append(run, record);
    group_.insert(group_.end(), record.begin(), record.end());
  }
}

void DupDebugFiles::EndGroup(uint32_t count) {
  if (count > 1) {
    Store(group_.data() + kCounterAt, count);
    OpenMerged();
    Append(merged_, group_);
  }
  group_.clear();
}

void DupDebugFiles::Finish() {
  constexpr std::array<unsigned char, kRecordSize> sentinel = [] {
    std::array<unsigned char, kRecordSize> bytes{};
    bytes.fill(0xFF);
    return bytes;
  }();
  for (Output& run : runs_) {
    Append(run, sentinel);
    Write(run);
  }
  OpenMerged();
  Write(merged_);
}

void DupDebugFiles::OpenMerged() {
  if (merged_.file.valid()) return;
  merged_.file = TempFile::CreateNamed("dupmerge.tmp");
  if (!merged_.file.valid()) {
    PosixErrExit(0, L"Unable to create temporary file '%s'\n", merged_.file.path());
  }
}

void DupDebugFiles::Append(Output& output, std::span<const unsigned char> bytes) {
  output.pending.insert(output.pending.end(), bytes.begin(), bytes.end());
  if (output.pending.size() >= kPendingSize) Write(output);
}

void DupDebugFiles::Write(Output& output) {
  if (!WriteFully(output.file.fd(), output.pending.data(), output.pending.size())) {
    PosixErrExit(0, L"Error writing '%s'\n", output.file.path());
  }
  output.pending.clear();
}

}  // namespace tabulon
