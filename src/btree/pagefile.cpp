#include "btree/pagefile.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>

#include "base/fileio.h"
#include "base/loganderr.h"

namespace tabulon {
namespace {

constexpr mode_t kPageFileMode = 0700;
constexpr size_t kDescriptors = 64;  // that all page files hold together at most

// The page files with an open descriptor; a seat that is wanted again closes its file.
std::array<PageFile*, kDescriptors> seats{};
size_t nextSeat = 0;

}  // namespace

PageFile::~PageFile() {
  std::replace(seats.begin(), seats.end(), this, static_cast<PageFile*>(nullptr));
}

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

void PageFile::Read(uint32_t number, void* page, size_t size) {
  const ssize_t got = ReadFullyAt(Descriptor(L"reading"), page, size, OffsetOf(number));
  if (got < 0) Fail(L"reading");
  if (static_cast<size_t>(got) < size) FailDamaged();
}

void PageFile::Write(uint32_t number, const void* page, size_t size) {
  if (!WriteFullyAt(Descriptor(L"writing"), page, size, OffsetOf(number))) Fail(L"writing");
}

void PageFile::Extend() {
  if (ftruncate(Descriptor(L"writing"), OffsetOf(nextNumber_)) != 0) Fail(L"writing");
}

void PageFile::FailDamaged() {
  errno = EIO;
  Fail(L"reading");
}

int PageFile::Descriptor(const wchar_t* verb) {
  if (file_.valid()) return file_.fd();
  if (createError_ != 0) {
    errno = createError_;
    Fail(L"creating");
  }
  PageFile*& seat = seats[nextSeat++ % kDescriptors];
  if (seat != nullptr) seat->file_.Close();
  seat = nullptr;
  if (!file_.Reopen()) Fail(verb);
  seat = this;
  return file_.fd();
}

void PageFile::Fail(const wchar_t* verb) {
  PosixErrExit(0, L"Error %ls tree page file '%s'\n", verb, file_.path());
}

off_t PageFile::OffsetOf(uint32_t number) const {
  return static_cast<off_t>(uint64_t{number} * pageSize_);
}

}  // namespace tabulon
