// Letters for the bits of a record's attributes word. The order is the order of printing.
#pragma once

#include <array>
#include <cstdint>

#include "detail/dtlformat.h"

namespace tabulon {

struct BitLetter {
  uint32_t bit;
  wchar_t letter;
};

// Windows file attributes.
inline constexpr std::array<BitLetter, 8> attrTbl = {{{kAttrSystem, L'S'},
                                                      {kAttrHidden, L'H'},
                                                      {kAttrReadOnly, L'R'},
                                                      {kAttrArchive, L'A'},
                                                      {kAttrOffline, L'O'},
                                                      {kAttrCompressed, L'C'},
                                                      {kAttrEncrypted, L'E'},
                                                      {kAttrDirectory, L'D'}}};

// POSIX mode bits: set-user-ID, set-group-ID and sticky print as u, g, s.
inline constexpr std::array<BitLetter, 12> modeTbl = {{{04000, L'u'},
                                                       {02000, L'g'},
                                                       {01000, L's'},
                                                       {0400, L'r'},
                                                       {0200, L'w'},
                                                       {0100, L'x'},
                                                       {040, L'r'},
                                                       {020, L'w'},
                                                       {010, L'x'},
                                                       {04, L'r'},
                                                       {02, L'w'},
                                                       {01, L'x'}}};

}  // namespace tabulon
