#include "btree/pagefile.h"

#include <unistd.h>

#include <cerrno>

#include "base/fileio.h"
#include "base/loganderr.h"

namespace tabulon {
namespace {

constexpr mode_t kPageFileMode = 0700;

}  // namespace

void PageFile::Create(const char* name, const char* tempName, size_t pageSize) {
  pageSize_ = pageSize;
  errno = 0;
  file_ = name != nullptr ? TempFile::CreateNamed(name, kPageFileMode)
                          : TempFile::Create(tempName, kPageFileMode);
  if (file_.valid()) {
    file_.RemoveAtEnd();
    file_.Close();
  } else {
    createError_ = errno != 0 ? errno : ENOENT;
  }
}

// Calls `move`, which tells whether all went well, with the file open.
template <class Move>
void PageFile::WithFile(const wchar_t* verb, Move move) {
  if (createError_ != 0) {
    errno = createError_;
    Fail(L"creating");
  }
  if (!file_.Reopen() || !move(file_.fd())) Fail(verb);
  file_.Close();
}

void PageFile::Read(uint32_t number, void* page, size_t size) {
  WithFile(L"reading", [&](int fd) { return ReadExactlyAt(fd, page, size, OffsetOf(number)); });
}

void PageFile::Write(uint32_t number, const void* page, size_t size) {
  WithFile(L"writing", [&](int fd) { return WriteFullyAt(fd, page, size, OffsetOf(number)); });
}

void PageFile::Extend() {
  WithFile(L"writing", [&](int fd) { return ftruncate(fd, OffsetOf(nextNumber_)) == 0; });
}

void PageFile::FailDamaged() {
  errno = EIO;
  Fail(L"reading");
}

void PageFile::Fail(const wchar_t* verb) {
  PosixErrExit(0, L"Error %ls tree page file '%s'\n", verb, file_.path());
}

off_t PageFile::OffsetOf(uint32_t number) const {
  return static_cast<off_t>(uint64_t{number} * pageSize_);
}

}  // namespace tabulon
