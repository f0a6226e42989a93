#include "tools/dtlexport/paths.h"

#include "detail/detailfile.h"
#include "tools/dtlexport/escape.h"
#include "tools/dtlexport/row.h"

namespace tabulon {
namespace {

char Separator() {
  return static_cast<char>(pathSep);
}

// On Windows both slashes separate; on Unix a backslash is a character of names.
bool Separates(char byte) {
  return byte == '/' || byte == Separator();
}

bool HasSeparator(std::string_view name) {
  for (const char byte : name) {
    if (Separates(byte)) return true;
  }
  return false;
}

bool HasParentPart(std::string_view path) {
  size_t begin = 0;
  for (size_t at = 0; at <= path.size(); ++at) {
    if (at < path.size() && !Separates(path[at])) continue;
    if (path.substr(begin, at - begin) == "..") return true;
    begin = at + 1;
  }
  return false;
}

// An empty name or "." would name the directory in place of the file.
const char* FaultOfName(std::string_view name) {
  if (HasSeparator(name)) return "its name holds a separator";
  if (name == "..") return "it has a part '..'";
  return name.empty() || name == "." ? "it names a directory" : nullptr;
}

// Without a separator in front, the directory would only lengthen the name of the root.
const char* FaultOfDirectory(std::string_view root, std::string_view directory) {
  if (HasParentPart(root) || HasParentPart(directory)) return "it has a part '..'";
  const bool below = directory.empty() || directory.front() == Separator();
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
  return {path_, name, fault_ != nullptr ? fault_ : FaultOfName(name)};
}

void PathFinder::UseDirectory(std::string_view directory) {
  JoinRoot(root_, directory, path_);
  length_ = path_.size();
  if (!path_.ends_with(Separator())) path_ += Separator();
  fault_ = FaultOfDirectory(root_, directory);
}

}  // namespace tabulon
