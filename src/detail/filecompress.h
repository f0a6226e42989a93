// The compressed form of a detail file: the whole file as one zlib stream (RFC 1950), whose first
// two bytes are always 0x78 0x01, so that the form is recognised. Files of any size pass through
// two fixed buffers.
#pragma once

#include <cstdint>

namespace tabulon {

// The first two bytes of a compressed detail file.
inline constexpr char kZlibMark[2] = {0x78, 0x01};

// How the inflating of a file ended. What went wrong has been told on standard output; errno is
// set.
struct Inflated {
  enum Outcome { kWhole, kSourceFailed, kTargetFailed };
  Outcome outcome = kWhole;
  uint64_t bytesAfter = 0;  // of the source, after the end of the zlib stream
};

// Inflates the open file `from`, from its first byte to the end that it has now, into `to`. When
// the source is damaged or cannot be read (kSourceFailed), `to` holds what could be inflated of it.
Inflated InflateStream(int from, int to);

// Compress ('C') or decompress ('D', by the first letter of `modeText`, either case) file `from`
// into the new file `to`. Returns 0 when `to` is whole and on disk, with the owner (where
// permitted) and mode of `from`. Failures are told on standard output and return 1 with errno set:
//  - EBADMSG: `from` is damaged or unreadable, and `to` holds what could be decompressed of it;
//  - anything else: `to` could not be made or filled, and what was made of it is gone again.
// An existing file or a link named `to` is never opened. What follows the end of the zlib stream in
// `from` is ignored.
int doCompression(const char* modeText, const char* from, const char* to);
int compressFile(const char* from, const char* to);
int decompressFile(const char* from, const char* to);

}  // namespace tabulon
