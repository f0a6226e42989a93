// The compressed form of a detail file: one zlib stream (RFC 1950) of the plain file at level 9,
// whose two header bytes are always 0x78 0x01, since readers know a compressed file by them.
#pragma once

#include <sys/types.h>

#include <functional>

#include "tools/scanwriter/dtlwriter.h"

namespace tabulon {

// Puts up to `size` bytes of the plain file into `buffer` and returns how many; 0 at its end, -1
// with errno set on failure.
using PlainSource = std::function<ssize_t(char* buffer, size_t size)>;

// Compresses all that `source` gives into `sink`, in bounded memory. False with errno set when
// either fails.
bool CompressDtl(const PlainSource& source, DtlSink& sink);

}  // namespace tabulon
