#include "tests/support/dtlbuild.h"

#include <array>
#include <utility>

#include "detail/filecompress.h"
#include "tests/support.h"
#include "tests/support/stringsink.h"

namespace tabulon {
namespace {

constexpr int kProgramsLevel = 9;  // at which the program compresses what it had inflated

// Adds what a record that leads elsewhere has: its flag and its target.
RecordSpec Leading(RecordSpec rest, uint32_t flag, std::string name, std::string target) {
  rest.flags |= flag;
  rest.name = std::move(name);
  rest.target = std::move(target);
  return rest;
}

}  // namespace

std::string BuildDtl(const ScanSpec& spec, DtlMap* map) {
  StringSink sink;
  DtlWriter writer(sink, spec);
  DtlMap found;
  for (const RecordSpec& record : spec.records) {
    found.records.push_back(writer.position());
    writer.Add(record);
  }
  found.recordsEnd = writer.position() + spec.rawRecords.size();
  writer.Finish();
  if (map != nullptr) *map = std::move(found);
  return std::move(sink.text);
}

void WriteDtl(const std::string& path, const ScanSpec& spec) {
  WriteFile(path, BuildDtl(spec));
}

RecordSpec DirectoryRecord(std::string path, RecordSpec rest) {
  rest.flags |= kRecordDirectory;
  rest.name = std::move(path);
  // Both kinds of scan are served: 040000 is the directory type of a POSIX mode and means
  // "encrypted" on the other side, so only a record without any attributes gets the shared 0x10.
  if (rest.attributes == 0) rest.attributes = kAttrDirectory;
  return rest;
}

RecordSpec FileRecord(std::string name, RecordSpec rest) {
  rest.name = std::move(name);
  return rest;
}

RecordSpec LinkRecord(std::string name, std::string target, RecordSpec rest) {
  return Leading(std::move(rest), kRecordSymlink, std::move(name), std::move(target));
}

RecordSpec JunctionRecord(std::string name, std::string target, RecordSpec rest) {
  return Leading(std::move(rest), kRecordJunction, std::move(name), std::move(target));
}

RecordSpec MountPointRecord(std::string name, std::string target, RecordSpec rest) {
  return Leading(std::move(rest), kRecordMountPoint, std::move(name), std::move(target));
}

RecordSpec WithStreams(RecordSpec record, std::vector<StreamSpec> streams) {
  record.flags |= kRecordHasStreams;
  record.streams = std::move(streams);
  return record;
}

std::string PaddedTag(std::string tag) {
  tag.resize(kBlankTag.size(), ' ');
  return tag;
}

std::string CompressDtl(std::string_view plain) {
  std::string stream(kZlibMark, kZlibMark + sizeof kZlibMark);
  Deflater deflater(kProgramsLevel);
  deflater.Put(plain, true, [&](std::string_view bytes) {
    stream += bytes;
    return true;
  });
  const std::array<char, 4> trailer = ZlibTrailer(deflater.checksum());
  return stream.append(trailer.data(), trailer.size());
}

}  // namespace tabulon
