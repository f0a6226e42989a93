// The QVA output file of a -qva run: one line about the scan, then every report of the run.
#pragma once

namespace tabulon {

// Creates the file in the report directory, named after tag, host and root, and writes its first
// line; it stays open as qvaOutput. Failure ends the run.
void CreateQvaFile();

}  // namespace tabulon
