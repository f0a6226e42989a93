#include "base/spoolfile.h"

#include <algorithm>
#include <cstring>

#include "base/fileio.h"
#include "base/loganderr.h"

namespace tabulon {
namespace {

[[noreturn]] void SpoolFailed(const wchar_t* verb, const std::string& path) {
  PosixErrExit(0, L"Error %ls '%s'\n", verb, path);
}

}  // namespace

bool SpoolFile::Create(const char* name) {
  file_ = TempFile::Create(name);
  created_ = file_.valid();
  file_.Close();
  return created_;
}

void SpoolFile::MakeRoom() {
  if (!buffer_) buffer_ = std::make_unique_for_overwrite<char[]>(kBufferSize);
  if (used_ > 0) FlushToFile();
}

void SpoolFile::FlushToFile() {
  if (laterName_ != nullptr && !created_ && !Create(laterName_)) SpoolFailed(L"writing", path());
  if (!file_.Reopen() ||
      !WriteFullyAt(file_.fd(), buffer_.get(), used_, static_cast<off_t>(inFile_))) {
    SpoolFailed(L"writing", path());
  }
  file_.Close();
  inFile_ += used_;
  used_ = 0;
}

void SpoolFile::Rewind() {
  if (inFile_ > 0 && !reading_ && used_ > 0) FlushToFile();
  reading_ = true;
  readAt_ = 0;
  readInFile_ = 0;
  if (inFile_ > 0) used_ = 0;
}

// Brings the next bytes of the file into the buffer; false at the end.
bool SpoolFile::Refill() {
  const auto size = static_cast<size_t>(std::min<uint64_t>(kBufferSize, inFile_ - readInFile_));
  if (size == 0) return false;
  if (!file_.Reopen() ||
      !ReadExactlyAt(file_.fd(), buffer_.get(), size, static_cast<off_t>(readInFile_))) {
    SpoolFailed(L"reading", path());
  }
  file_.Close();
  readInFile_ += size;
  readAt_ = 0;
  used_ = size;
  return true;
}

bool SpoolFile::Read(void* record, size_t size) {
  auto* out = static_cast<char*>(record);
  while (size > 0) {
    if (readAt_ == used_ && !Refill()) return false;
    const size_t part = std::min(size, used_ - readAt_);
    std::memcpy(out, buffer_.get() + readAt_, part);
    readAt_ += part;
    out += part;
    size -= part;
  }
  return true;
}

void SpoolFile::Remove() {
  *this = SpoolFile();
}

}  // namespace tabulon
