// The 8-bit character sets of ISO/IEC 8859: which characters a name may hold and still fit one of
// them. The maps are the current tables (8859-7 of 2003), as unicode.org publishes them.
#pragma once

#include <cstdint>
#include <span>

namespace tabulon {

// The upper half (bytes 0xA0 to 0xFF) of ISO 8859 part `codepage`, as Unicode values; 0 stands for
// an unassigned byte. Empty for parts without a map: 1, whose upper half is Unicode's own, 12,
// which does not exist, and everything above 16.
std::span<const int16_t> IsoUpperHalf(int codepage);

}  // namespace tabulon
