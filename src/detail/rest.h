// Completes the module detail: compressing files, and inflating them into others, as a whole; the
// tables of a scan by other keys than this program looks for.
#pragma once

#include <cstdint>

#include "detail/securityobjects.h"

namespace tabulon {

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

extern const SidObject dummySidKey;  // "<unknown>": to be shown for a SID without an entry

// The place of a security descriptor in the file of all of them.
struct SdPlace {
  uint32_t length = 0;
  uint32_t offset = 0;  // wraps at 32 bits
};
// Where the descriptors of the scan file `fd` are in their copy (SecurityObjects::sdTempFile), by
// their u32 numbers, from 0; the extra bytes are an SdPlace.
TreeHandle SdTree(int fd, const LogHeader& header);
// References to all SIDs by their bytes, a prefix first; objects and texts live in `pool`.
TreeHandle SidTree(const SecurityObjects& objects, Pool& pool);
// References to all IDs by kind, then value; likewise.
TreeHandle IdTree(int fd, const LogHeader& header, Pool& pool);

}  // namespace tabulon
