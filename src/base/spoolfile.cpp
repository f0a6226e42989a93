#include "base/spoolfile.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "base/fileio.h"
#include "base/loganderr.h"

namespace tabulon {
namespace {

[[noreturn]] void SpoolFailed(const wchar_t* verb, const std::string& path) {
  PosixErrExit(0, L"Error %ls '%s'\n", verb, path);
}

}  // namespace

bool ClosedTempFile::Create(const char* name) {
  file_ = TempFile::Create(name);
  const bool created = file_.valid();
  file_.Close();
  return created;
}

void ClosedTempFile::CreateOrEnd(const char* name) {
  if (!Create(name)) PosixErrExit(0, L"Unable to create temporary file '%s'\n", path());
}

bool ClosedTempFile::Open() {
  return file_.valid() || file_.Reopen();
}

void ClosedTempFile::EndUse() {
  if (!staysOpen_) file_.Close();
}

void ClosedTempFile::StayOpen(bool staysOpen) {
  staysOpen_ = staysOpen;
  EndUse();
}

void ClosedTempFile::Write(const void* bytes, size_t size, uint64_t offset) {
  if (!Open() || !WriteFullyAt(file_.fd(), bytes, size, static_cast<off_t>(offset))) {
    SpoolFailed(L"writing", path());
  }
  EndUse();
}

void ClosedTempFile::Read(void* bytes, size_t size, uint64_t offset) {
  if (!Open() || !ReadExactlyAt(file_.fd(), bytes, size, static_cast<off_t>(offset))) {
    SpoolFailed(L"reading", path());
  }
  EndUse();
}

void ClosedTempFile::Damaged() const {
  errno = EIO;
  SpoolFailed(L"reading", path());
}

bool SpoolFile::Create(const char* name) {
  created_ = file_.Create(name);
  return created_;
}

void SpoolFile::MakeRoom() {
  if (!buffer_) buffer_ = std::make_unique_for_overwrite<char[]>(kBufferSize);
  if (used_ > 0) FlushToFile();
}

void SpoolFile::FlushToFile() {
  if (laterName_ != nullptr && !created_ && !Create(laterName_)) SpoolFailed(L"writing", path());
  file_.Write(buffer_.get(), used_, inFile_);
  inFile_ += used_;
  used_ = 0;
}

void SpoolFile::Rewind() {
  if (inFile_ > 0 && !reading_ && used_ > 0) FlushToFile();
  reading_ = true;
  file_.StayOpen(true);
  readAt_ = 0;
  readInFile_ = 0;
  if (inFile_ > 0) used_ = 0;
}

// Brings the next bytes of the file into the buffer; false at the end.
bool SpoolFile::Refill() {
  const auto size = static_cast<size_t>(std::min<uint64_t>(kBufferSize, inFile_ - readInFile_));
  if (size == 0) {
    file_.StayOpen(false);
    return false;
  }
  file_.Read(buffer_.get(), size, readInFile_);
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

}  // namespace tabulon
