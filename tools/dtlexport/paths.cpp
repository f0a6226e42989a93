#include "tools/dtlexport/paths.h"

#include "tools/scanreader/escape.h"
#include "tools/scanreader/rootpath.h"

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

// An empty name or "." would name the directory in place of the file.
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

}  // namespace

ScanPath PathFinder::Find(const ScanRecord& record, std::string_view directory) {
  if (position_ != record.directoryPosition) {
    position_ = record.directoryPosition;
    UseDirectory(TextOf(directory));
  }
  if (record.fields().isDirectory()) {
    return {std::string_view(path_).substr(0, length_), {}, fault_};
  }
  const std::string_view name = TextOf(record.view.name);
  return {path_, name, fault_ != nullptr ? fault_ : FaultOfName(name, separator_)};
}

void PathFinder::UseDirectory(std::string_view directory) {
  JoinRoot(separator_, root_, directory, path_);
  length_ = path_.size();
  if (!path_.ends_with(separator_)) path_ += separator_;
  fault_ = FaultOfDirectory(root_, directory, separator_);
}

}  // namespace tabulon
