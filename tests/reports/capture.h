// A report whose text, and the log beside it, go to memory.
#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <string>

#include "base/loganderr.h"
#include "base/textstream.h"

namespace tabulon {

inline void AttachToMemory(TextStream& stream, TextEncoding encoding = TextEncoding::kLocale) {
  stream.Attach(memfd_create("report", 0), true, encoding, "report");
}

// All that a file holds.
inline std::string TextOf(int file) {
  std::string text(static_cast<size_t>(lseek(file, 0, SEEK_END)), '\0');
  text.resize(static_cast<size_t>(pread(file, text.data(), text.size(), 0)));
  return text;
}

// All that was written to a stream of AttachToMemory.
inline std::string Written(TextStream& stream) {
  stream.Flush();
  return TextOf(stream.fd());
}

// Has the list log in memory while it lives.
class CapturedLog {
 public:
  CapturedLog() {
    AttachToMemory(logs_.listStream);
    logs_.logFile = &logs_.listStream;
  }
  std::string text() { return Written(logs_.listStream); }

 private:
  Logs logs_;
};

}  // namespace tabulon
