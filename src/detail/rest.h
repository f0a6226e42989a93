// Completes the module detail: compressing files, and inflating them into others, as a whole.
#pragma once

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

}  // namespace tabulon
