// A report whose text goes to memory.
#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <string>

#include "base/textstream.h"

namespace tabulon {

inline void AttachToMemory(TextStream& stream, TextEncoding encoding = TextEncoding::kLocale) {
  stream.Attach(memfd_create("report", 0), true, encoding, "report");
}

// All that was written to a stream of AttachToMemory.
inline std::string Written(TextStream& stream) {
  stream.Flush();
  std::string text(static_cast<size_t>(lseek(stream.fd(), 0, SEEK_END)), '\0');
  text.resize(static_cast<size_t>(pread(stream.fd(), text.data(), text.size(), 0)));
  return text;
}

}  // namespace tabulon
