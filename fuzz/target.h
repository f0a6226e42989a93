// What the fuzz targets share. A target is one function, LLVMFuzzerTestOneInput: libFuzzer calls it
// with inputs of its own making, and replay.cpp, under any compiler, with those of the corpus.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string_view>

#include "detail/scan.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace tabulon {

inline std::string_view AsText(const uint8_t* data, size_t size) {
  return {reinterpret_cast<const char*>(data), size};
}

// Runs a part of the program, with its logs going nowhere. False when it was ended by a fatal exit.
bool RunPart(const std::function<void()>& part);

// A sound scan with a few records of every sort, for reading only. REQUIRES: called in RunPart.
const Scan& SampleScan(bool cifs);

// Ends the process so that libFuzzer keeps the input.
void Require(bool holds);

}  // namespace tabulon
