// A detail file that is written into memory.
#pragma once

#include <string>
#include <string_view>

#include "tools/scanwriter/dtlwriter.h"

namespace tabulon {

class StringSink : public DtlSink {
 public:
  bool Append(std::string_view bytes) override {
    text += bytes;
    return true;
  }
  bool Overwrite(uint64_t offset, std::string_view bytes) override {
    text.replace(offset, bytes.size(), bytes);
    return true;
  }

  std::string text;
};

}  // namespace tabulon
