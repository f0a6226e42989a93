// Reads a scan file back through the program's own reader, for tests of what writes it.
#pragma once

#include <fcntl.h>

#include <map>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

#include "base/fileio.h"
#include "detail/dtlformat.h"
#include "detail/recordreader.h"
#include "support.h"
#include "tools/scanwriter/dtlwriter.h"

namespace tabulon {

// A name or target without its terminating zero.
inline std::string Unterminated(std::string_view stored) {
  if (!stored.ends_with('\0')) throw std::runtime_error("text is not terminated");
  return std::string(stored.substr(0, stored.size() - 1));
}

struct ScanRead {
  LogHeader header;
  LogRoot root;
  VersionBlock version;
  std::vector<RecordSpec> records;
  uint64_t recordsEnd = 0;  // file offset of the end marker

  bool isNfs() const { return (header.flags & kHeaderNfs) != 0; }
  const RecordLayout& layout() const { return isNfs() ? kNfsRecord : kCifsRecord; }
};

inline RecordSpec ReadRecord(RecordReader& reader, const RecordView& view) {
  const RecordFields& f = view.fields;
  RecordSpec record{.flags = f.flags(),
                    .attributes = f.attributes(),
                    .created = f.created(),
                    .accessed = f.accessed(),
                    .modified = f.modified(),
                    .size = f.size(),
                    .uid = f.uid(),
                    .gid = f.gid(),
                    .inode = f.inode(),
                    .links = f.links(),
                    .name = Unterminated(view.name)};
  if (view.hasTarget) record.target = Unterminated(view.target);
  uint64_t at = view.streams;
  const int32_t streams = view.streamCount;
  StreamEntry entry;
  for (int32_t i = 0; i < streams && reader.ReadStream(at, entry); ++i) {
    record.streams.push_back({Unterminated(entry.name), entry.size});
  }
  return record;
}

inline ScanRead ReadScan(const std::string& path) {
  const UniqueFd fd(open(path.c_str(), O_RDONLY));
  unsigned char blocks[kHeaderSize + kRootSize + kVersionSize] = {};
  if (ReadFully(fd.get(), blocks, sizeof blocks) != ssize_t{sizeof blocks}) {
    throw std::runtime_error("no blocks in " + path);
  }
  const std::span<const unsigned char, sizeof blocks> all(blocks);
  ScanRead scan{.header = ParseHeader(all.first<kHeaderSize>()),
                .root = ParseRoot(all.subspan<kHeaderSize, kRootSize>()),
                .version = ParseVersion(all.subspan<kHeaderSize + kRootSize>()),
                .records = {}};
  RecordReader reader(fd.get(), scan.layout(), (scan.header.revision & kRevisionMask) >= 7);
  RecordView view;
  for (uint64_t at = scan.root.firstRecord; scan.recordsEnd = at, reader.Read(at, view);) {
    at = view.next;
    scan.records.push_back(ReadRecord(reader, view));
  }
  return scan;
}

// The ids of one kind with their names.
inline std::map<uint32_t, std::string> ReadIds(const std::string& bytes, uint64_t section,
                                               uint32_t kind) {
  std::map<uint32_t, std::string> names;
  size_t at = section + 4;
  for (uint32_t count = LoadU32(bytes.data() + section); count > 0; --count) {
    const std::string entry = bytes.substr(at, IdEntry::kSize);
    const uint32_t length = LoadU32(entry.data() + 12);
    const std::string name = bytes.substr(at + entry.size(), length);
    if (LoadU32(entry.data() + 4) == kind) names[LoadU32(entry.data())] = name;
    at += entry.size() + length;
  }
  return names;
}

// A header string's units as they stand, terminator included.
inline std::u16string ReadUnits(const std::string& bytes, uint64_t offset) {
  std::u16string units(LoadU16(bytes.data() + offset) / 2, u'\0');
  bytes.substr(offset + 2, 2 * units.size())
      .copy(reinterpret_cast<char*>(units.data()), 2 * units.size());
  return units;
}

}  // namespace tabulon
