#include "tools/dtldiff/pathfinder.h"

#include "base/fileio.h"
#include "base/loganderr.h"
#include "tools/scanreader/escape.h"
#include "tools/scanreader/rootpath.h"
#include "tools/scanreader/safepath.h"

namespace tabulon {
namespace {

constexpr size_t kUsualRecord = 512;  // bytes of a record with its name, and more

}  // namespace

void RecordPaths::Find(const FilePlace& place, FoundPath& path) {
  if (place.directory != directoryAt_) {
    directoryAt_ = place.directory;
    directory_ = place.directory == kNoRecord ? std::string_view() : NameAt(place.directory);
  }
  Join(directory_, NameAt(place.file), path);
}

std::string RecordPaths::DirectoryAt(uint64_t position) {
  std::string path(position == kNoRecord ? std::string_view() : NameAt(position));
  while (path.ends_with(scan_.separator())) path.pop_back();
  return path;
}

void RecordPaths::Join(std::string_view directory, std::string_view name, FoundPath& path) const {
  const char separator = scan_.separator();
  path.fault = FaultOfDirectory(scan_.root, directory, separator);
  if (path.fault == nullptr) path.fault = FaultOfName(name, separator);
  if (directory.empty()) directory = scan_.rootText;
  JoinRoot(separator, scan_.root, directory, path.text);
  if (!path.text.ends_with(separator)) path.text += separator;
  path.text += name;
}

// The name of the record there. A scan that has changed meanwhile gives what it gives.
std::string_view RecordPaths::NameAt(uint64_t position) {
  const RecordLayout& layout = scan_.scan.layout();
  const auto read = [&](size_t size) {
    bytes_.resize(size);
    const ssize_t got =
        ReadFullyAt(scan_.scan.dtlFile.get(), bytes_.data(), size, static_cast<off_t>(position));
    if (got < 0) PosixErrExit(0, L"Error reading scan detail file\n");
    bytes_.resize(static_cast<size_t>(got));
  };
  read(kUsualRecord);
  if (bytes_.size() < layout.fixedSize) return {};
  const RecordFields fields(reinterpret_cast<const unsigned char*>(bytes_.data()), &layout);
  const size_t length = fields.nameLength();
  if (layout.fixedSize + length > bytes_.size()) read(layout.fixedSize + length);
  return TextOf(std::string_view(bytes_.data(), bytes_.size()).substr(layout.fixedSize, length));
}

}  // namespace tabulon
