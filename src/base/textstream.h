// An output stream for text: one buffer in front of one file descriptor, fed with wide text or with
// bytes that are already encoded, in any mix and in order. (A C stream takes only one of the two
// forms and drops the other.) Write errors are remembered, not reported at the call.
#pragma once

#include <algorithm>
#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

#include "base/bytebuffer.h"
#include "base/fileio.h"

namespace tabulon {

enum class TextEncoding {
  kLocale,   // the process locale's multibyte encoding; a unit it cannot hold is written as '?'
  kUtf16Le,  // UTF-16, little-endian (RFC 2781), surrogate pairs above U+FFFF; a negative unit is
             // written as its low 16 bits
  kUcs2Le,   // as kUtf16Le, but a unit that does not fit 16 bits is written as '?'
};

// Most bytes that EncodeLocaleUnit writes.
inline constexpr size_t kLongestLocaleUnit = 16;

// Writes one unit in the locale's encoding, '?' when it cannot hold the unit; returns the length.
size_t EncodeLocaleUnit(wchar_t unit, char* out);

// Appends what a stream of this encoding would write.
void AppendEncoded(ByteBuffer& out, std::wstring_view text, TextEncoding encoding);
// The same for text of which every unit is below 128.
void AppendEncodedAscii(ByteBuffer& out, std::string_view text, TextEncoding encoding);

class TextStream {
 public:
  TextStream() = default;
  ~TextStream();
  TextStream(const TextStream&) = delete;
  TextStream& operator=(const TextStream&) = delete;

  // Takes a descriptor. An owned one is closed by Close or the destructor. `name` is what a
  // message about this stream calls it.
  void Attach(int fd, bool owned, TextEncoding encoding, std::string name);
  bool IsOpen() const { return fd_ >= 0; }
  int fd() const { return fd_; }
  bool IsTerminal() const { return terminal_; }
  TextEncoding encoding() const { return encoding_; }
  const std::string& name() const { return name_; }
  // The system error number of the first write that failed; 0 = every write arrived.
  int error() const { return error_; }

  // For a file that is to replace another, or itself: file systems that choose places on the disk
  // late choose those of such a file when it is closed or renamed (ext4's auto_da_alloc), and the
  // run waits: 0.1 s for 200 MB. So TakeUnplaced tells from here on what can be placed before. On
  // other file systems, and on a busy disk, the bytes only go to the disk sooner than they would.
  // REQUIRES: the stream is attached to the start of a regular file.
  void PlaceEarly() { placesEarly_ = true; }
  // Bytes that have been written since the last call; none until they are worth one.
  UnplacedBytes TakeUnplaced();

  void Write(std::wstring_view text);
  // Bytes in the stream's own encoding, unchanged. A quarter of what the buffer holds, or
  // more, is not copied.
  void WriteBytes(std::string_view bytes) {
    if (used_ + bytes.size() > atOnce_) {
      WriteAnyBytes(bytes);
      return;
    }
    std::copy(bytes.begin(), bytes.end(), buffer_.get() + used_);
    used_ += bytes.size();
  }

  // Room for `size` bytes (at most kBufferSize) at the end of the buffer, for a writer that encodes
  // in place; Commit says how many were used. Valid until the next call on the stream.
  char* Reserve(size_t size);
  void Commit(size_t size) { used_ += size; }

  void Flush();
  // Flushes, and closes an owned descriptor. Returns error().
  int Close();

  static constexpr size_t kBufferSize = 256 * 1024;

 private:
  void WriteAnyBytes(std::string_view bytes);
  void WriteUtf16(std::wstring_view text);
  void WriteOut(std::string_view bytes);

  int fd_ = -1;
  bool owned_ = false;
  bool terminal_ = false;
  TextEncoding encoding_ = TextEncoding::kLocale;
  int error_ = 0;
  bool placesEarly_ = false;
  uint64_t written_ = 0;  // bytes
  uint64_t taken_ = 0;    // bytes of it that TakeUnplaced has told
  size_t used_ = 0;
  size_t atOnce_ = 0;  // bytes up to here are just put into the buffer; 0: there is none, or a
                       // terminal waits
  std::unique_ptr<char[]> buffer_;  // made at the first write
  std::string name_;
};

}  // namespace tabulon
