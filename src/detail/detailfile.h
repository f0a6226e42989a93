// The detail file on its way in and out of its compressed form.
#pragma once

#include <cstdint>

#include "base/uniquefd.h"

namespace tabulon {

// Opens the file named by -dtl, inflating it in place first when it is compressed (then
// *wasCompressed becomes 1). Every failure ends the run. At every moment a whole copy of the scan
// is on disk: under `name`, or as "<name>-<seconds since 1970>.tmp" beside it. A compressed file
// that turns out to be damaged is kept as "<name>.damaged", and what could be inflated takes its
// place.
UniqueFd OpenDtlFile(const char* name, const char* mode, uint32_t* wasCompressed);
// Closes the file and, when the mark is set, compresses it back in place with the same care. A
// failure ends the run; when the compressed file could not be written the plain one stays.
void CloseDtlFile(UniqueFd file, const char* name, uint32_t wasCompressed);

}  // namespace tabulon
