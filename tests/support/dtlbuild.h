// Small scan files made in memory, for tests:
//
//   const std::string bytes = BuildDtl({
//       .kind = ScanKind::kCifs,
//       .rootPath = "C:\\",
//       .records = {DirectoryRecord("\\docs"), FileRecord("a.txt", {.size = 12})}});
//   std::string bad = bytes;
//   Store32(bad, dtl_at::kMagic, kMagicIncomplete);
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "tools/scanwriter/dtlwriter.h"
#include "tools/scanwriter/littlebytes.h"

namespace tabulon {

// Where things came to stand in a built file.
struct DtlMap {
  std::vector<uint64_t> records;  // one for each of spec.records
  uint64_t recordsEnd = 0;        // the end marker, or what stands behind the records without one
};

// The whole file in memory; `map`, when given, is filled in.
std::string BuildDtl(const ScanSpec& spec, DtlMap* map = nullptr);
// BuildDtl to a file of this name. A failure throws std::system_error.
void WriteDtl(const std::string& path, const ScanSpec& spec);

// A directory of this path, a file of this name, a symbolic link, an NTFS junction or mount point
// with its target. `rest` is the rest of the record; the flag that the kind of record needs is
// added, and a directory without attributes gets the directory attribute.
RecordSpec DirectoryRecord(std::string path, RecordSpec rest = {});
RecordSpec FileRecord(std::string name, RecordSpec rest = {});
RecordSpec LinkRecord(std::string name, std::string target, RecordSpec rest = {});
RecordSpec JunctionRecord(std::string name, std::string target, RecordSpec rest = {});
RecordSpec MountPointRecord(std::string name, std::string target, RecordSpec rest = {});
// Gives a CIFS record its alternate streams and the flag that goes with them.
RecordSpec WithStreams(RecordSpec record, std::vector<StreamSpec> streams);

// A QVA tag as scanners store it: cut or padded with blanks to 32 characters.
std::string PaddedTag(std::string tag);

// The compressed form of a whole file, as the program makes it.
std::string CompressDtl(std::string_view plain);

}  // namespace tabulon
