#include "tools/scanreader/safepath.h"

namespace tabulon {
namespace {

// On Windows both slashes separate; on Unix a backslash is a character of names.
bool Separates(char byte, char separator) {
  return byte == '/' || byte == separator;
}

bool HasSeparator(std::string_view name, char separator) {
  for (const char byte : name) {
    if (Separates(byte, separator)) return true;
  }
  return false;
}

bool HasParentPart(std::string_view path, char separator) {
  size_t begin = 0;
  for (size_t at = 0; at <= path.size(); ++at) {
    if (at < path.size() && !Separates(path[at], separator)) continue;
    if (path.substr(begin, at - begin) == "..") return true;
    begin = at + 1;
  }
  return false;
}

}  // namespace

const char* FaultOfName(std::string_view name, char separator) {
  if (HasSeparator(name, separator)) return "its name holds a separator";
  if (name == "..") return "it has a part '..'";
  return name.empty() || name == "." ? "it names a directory" : nullptr;
}

// Without a separator in front, the directory would only lengthen the name of the root.
const char* FaultOfDirectory(std::string_view root, std::string_view directory, char separator) {
  if (HasParentPart(root, separator) || HasParentPart(directory, separator))
    return "it has a part '..'";
  const bool below = directory.empty() || directory.front() == separator;
  return below ? nullptr : "its directory does not begin at the root";
}

}  // namespace tabulon
