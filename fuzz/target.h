// What the fuzz targets share. A target is one function, LLVMFuzzerTestOneInput: libFuzzer calls it
// with inputs of its own making, and replay.cpp, under any compiler, with those of the corpus.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string_view>

#include "base/uniquefd.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace tabulon {

inline std::string_view AsText(const uint8_t* data, size_t size) {
  return {reinterpret_cast<const char*>(data), size};
}

// Runs a part of the program, with its logs going nowhere. False when it was ended by a fatal exit.
bool RunPart(const std::function<void()>& part);

// A file in memory that holds these bytes, replaced by the next call.
UniqueFd MemoryFile(std::string_view bytes);

// Ends the process so that libFuzzer keeps the input.
void Require(bool holds);

}  // namespace tabulon
