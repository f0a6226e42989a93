// The QVA output file of a -qva run: one line about the scan, then every report of the run.
#pragma once

#include <string>

#include "base/asidefile.h"
#include "base/textstream.h"
#include "config/settings.h"
#include "detail/scan.h"

namespace tabulon {

// Prepares `file` in the report directory, named after tag, host and root, opens `output` on it and
// writes its first line. Returns the root as the QVA output shows it. A failure ends the run, and
// so does another file of that name: one of the run, or one that does not begin as a QVA file.
std::wstring CreateQvaFile(const Scan& scan, const Settings& settings, AsideFile& file,
                           TextStream& output);

}  // namespace tabulon
