// Paths for other programs to open. A scan is a file like any other: its paths must not lead those
// programs out of the tree that was scanned. Each function says why a path may do so, or null.
#pragma once

#include <string_view>

namespace tabulon {

// The name of a file. An empty name or "." would name the directory in place of the file.
const char* FaultOfName(std::string_view name, char separator);
// The stored path of a directory, below the path of the root.
const char* FaultOfDirectory(std::string_view root, std::string_view directory, char separator);

}  // namespace tabulon
