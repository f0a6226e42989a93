// A page file of a tree: node images at number x page size, in a file that exists as long as the
// tree does. A descriptor is held only while a page moves, so any number of trees can exist under a
// small descriptor limit; opening the file costs less than moving a page.
#pragma once

#include <cstddef>
#include <cstdint>

#include "base/tempfile.h"

namespace tabulon {

class PageFile {
 public:
  PageFile() = default;
  PageFile(const PageFile&) = delete;
  PageFile& operator=(const PageFile&) = delete;

  // Makes the file: `name`, emptied if it is there, or when that is null a temporary file under
  // `tempName`. A failure is kept back and told by the first call that moves a page.
  void Create(const char* name, const char* tempName, size_t pageSize);

  // Hands out page numbers, from 1.
  uint32_t NewNumber() { return nextNumber_++; }
  uint32_t nextNumber() const { return nextNumber_; }
  void SetNextNumber(uint32_t number) { nextNumber_ = number; }
  size_t pageSize() const { return pageSize_; }

  // Move the first `size` bytes of a page. A page that cannot be moved whole ends the run with the
  // file's name and the system error.
  void Read(uint32_t number, void* page, size_t size);
  void Write(uint32_t number, const void* page, size_t size);
  // Makes every page up to nextNumber() readable in full: what was never written reads as zero.
  void Extend();

  // Ends the run because of a page that is not what was written.
  [[noreturn]] void FailDamaged();

 private:
  template <class Move>
  void WithFile(const wchar_t* verb, Move move);
  [[noreturn]] void Fail(const wchar_t* verb);
  off_t OffsetOf(uint32_t number) const;

  TempFile file_;
  int createError_ = 0;  // errno when the file could not be made
  size_t pageSize_ = 0;
  uint32_t nextNumber_ = 1;
};

}  // namespace tabulon
