// The QVA output file of a -qva run: one line about the scan, then every report of the run.
#pragma once

#include <string>

#include "base/textstream.h"
#include "config/settings.h"
#include "detail/scan.h"

namespace tabulon {

// Creates the file in the report directory, named after tag, host and root, opens `output` on it
// and writes its first line. Returns the root as the QVA output shows it. Failure ends the run.
std::wstring CreateQvaFile(const Scan& scan, const Settings& settings, TextStream& output);

}  // namespace tabulon
