// Temporary files that hold a descriptor only while bytes move, so that any number of them can
// exist under a small descriptor limit.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "base/tempfile.h"

namespace tabulon {

// Bytes at places of a temporary file. What fails ends the run with the file's name and the system
// error.
class ClosedTempFile {
 public:
  // Makes the temporary file under the base name `name`. False with errno set when that fails;
  // path() is the name tried.
  bool Create(const char* name);
  // The same; a failure ends the run.
  void CreateOrEnd(const char* name);
  const std::string& path() const { return file_.path(); }

  // Whether a descriptor is held between calls, too, from the next one on: for a file of which
  // there are few at a time. Not so at first.
  void StayOpen(bool staysOpen);
  void Write(const void* bytes, size_t size, uint64_t offset);
  void Read(void* bytes, size_t size, uint64_t offset);
  // Ends the run as a read that fails does: the file does not have what was written.
  [[noreturn]] void Damaged() const;

 private:
  bool Open();
  void EndUse();

  TempFile file_;
  bool staysOpen_ = false;
};

// Fixed-size records that are appended during the scan and read back once, in order.
class SpoolFile {
 public:
  // Makes the temporary file under the base name `name`. False with errno set when that fails;
  // path() is the name tried.
  bool Create(const char* name);
  // The file is made under that name when the first bytes go to it: a spool that fits its buffer
  // needs none. A file that cannot be made then ends the run.
  void CreateWhenNeeded(const char* name) { laterName_ = name; }
  bool IsOpen() const { return created_; }
  // Has the file hold a descriptor while records are appended, too, not only while they are read
  // back: opening and closing a file costs about as much as moving a buffer, and far more where the
  // file is on another machine.
  void StayOpen() { file_.StayOpen(true); }
  const std::string& path() const { return file_.path(); }

  // Appends `size` bytes (at most kBufferSize). A write that fails ends the run with the file's
  // name and the system error.
  void Append(const void* record, size_t size) {
    if (used_ + size > kBufferSize || !buffer_) MakeRoom();
    __builtin_memcpy(buffer_.get() + used_, record, size);
    used_ += size;
  }
  // Goes back to the first record; what was appended is read back from here on, nothing can be
  // appended any more.
  void Rewind();
  // Reads the next `size` bytes. False at the end; a file that does not give back what was
  // written ends the run with its name and the system error.
  bool Read(void* record, size_t size);

 private:
  static constexpr size_t kBufferSize = 16 * 1024;
  void MakeRoom();
  void FlushToFile();
  bool Refill();

  ClosedTempFile file_;
  const char* laterName_ = nullptr;  // of a file that is made when it is needed
  bool created_ = false;
  bool reading_ = false;
  std::unique_ptr<char[]> buffer_;
  size_t used_ = 0;          // bytes in the buffer
  size_t readAt_ = 0;        // next byte of the buffer to hand out, while reading
  uint64_t inFile_ = 0;      // bytes written to the file
  uint64_t readInFile_ = 0;  // bytes of the file taken into the buffer, while reading
};

}  // namespace tabulon
