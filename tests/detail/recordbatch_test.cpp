// Batches of records against the same records read one by one.
#include "detail/recordbatch.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <tuple>
#include <vector>

#include "batches.h"
#include "detail/detailfile.h"
#include "detail/scandetail.h"

namespace tabulon {
namespace {

// Any mixture of directories, files, links and streams, with names of every kind and length; some
// targets and streams are longer than what a window shows at once.
ScanSpec RandomScan(ScanKind kind, int records, std::mt19937& random) {
  ScanSpec scan{.kind = kind, .rootPath = kind == ScanKind::kCifs ? "C:\\" : "/"};
  const auto name = [&] {
    const size_t most = random() % 50 == 0 ? 3000 : random() % 4 == 0 ? 70 : 20;
    std::string text(random() % most, 'n');
    if (!text.empty() && random() % 3 == 0) text[random() % text.size()] = '.';
    if (random() % 6 == 0) text.insert(random() % (text.size() + 1), "\xC3\xA9");
    if (random() % 40 == 0) text.push_back('\0');
    return text;
  };
  for (int i = 0; i < records; ++i) {
    RecordSpec record = FileRecord(name(), {.size = random() % 1000});
    const size_t length = random() % 50 == 0 ? random() % 60'000 : random() % 40;
    const size_t choice = random() % 12;
    if (choice == 0) record = DirectoryRecord(name().insert(0, 1, '/'), record);
    if (choice == 1) record = LinkRecord(name(), std::string(length, 't'), record);
    if (choice == 2) record = WithStreams(record, {{name(), 3}, {std::string(length, 's'), 9}});
    scan.records.push_back(std::move(record));
  }
  return scan;
}

// Name, target, directory, whether there is a target, position, position of the directory, size,
// allocated size and number of streams.
using Whole = std::tuple<std::string, std::string, std::wstring, bool, uint64_t, uint64_t, uint64_t,
                         uint64_t, int32_t>;

Whole Copy(const ScanRecord& record) {
  const RecordView& view = record.view;
  return {std::string(view.name),
          view.hasTarget ? std::string(view.target) : "",
          std::wstring(record.directory->Wide()),
          view.hasTarget,
          view.position,
          record.directoryPosition,
          record.fields().size(),
          record.allocatedSize,
          view.streamCount};
}

std::vector<Whole> Expected(const ScanSpec& scan) {
  DtlMap map;
  BuildDtl(scan, &map);
  std::vector<Whole> expected;
  RecordText directory;
  uint64_t directoryPosition = 0;
  for (size_t i = 0; i < scan.records.size(); ++i) {
    const RecordSpec& spec = scan.records[i];
    if ((spec.flags & kRecordDirectory) != 0) {
      directory.AssignCopy(spec.name);
      directoryPosition = map.records[i];
    }
    const bool hasTarget = (spec.flags & kRecordHasTarget) != 0;
    const size_t streams = scan.kind == ScanKind::kCifs ? spec.streams.size() : 0;
    expected.emplace_back(spec.name + '\0', hasTarget ? spec.target + '\0' : "",
                          std::wstring(directory.Wide()), hasTarget, map.records[i],
                          directoryPosition, spec.size, AllocatedSize(spec.size),
                          static_cast<int32_t>(streams));
  }
  return expected;
}

void ExpectNames(RecordBatch& batch) {
  batch.LookAtNames();
  const RecordBatch::Names& names = batch.names();
  for (size_t i = 0; i < batch.size(); ++i) {
    const RecordText& name = batch.At(i).name;
    ASSERT_EQ(names.other[i] == 0, name.IsAscii());
    if (name.IsAscii()) {
      ASSERT_EQ(names.text[i], name.Ascii());
      ASSERT_EQ(names.tail[i], TailWord(name.Ascii()));
    } else {
      ASSERT_EQ(batch.OtherName(i).Wide(), name.Wide());
      ASSERT_EQ(names.tail[i], 0U);
    }
  }
}

TEST(RecordBatch, ShowsTheRecordsOfTheFile) {
  std::mt19937 random(11);
  fileIncr = 512;
  for (const ScanKind kind : {ScanKind::kNfs, ScanKind::kCifs}) {
    const ScanSpec scan = RandomScan(kind, 6000, random);
    const std::vector<Whole> expected = Expected(scan);
    size_t done = 0;
    size_t largest = 0;
    ForEachBatch(scan, [&](RecordBatch& batch) {
      ASSERT_LE(done + batch.size(), expected.size());
      if (done % 2 == 0) ExpectNames(batch);     // before and after the records have been asked for
      for (size_t pass = 0; pass < 2; ++pass) {  // back to the first one, too
        for (size_t i = 0; i < batch.size(); ++i) {
          ASSERT_EQ(batch.fields(i).size(), scan.records[done + i].size);
          ASSERT_EQ(Copy(batch.At(i)), expected[done + i]) << done + i;
        }
      }
      ExpectNames(batch);
      done += batch.size();
      largest = std::max(largest, batch.size());
    });
    EXPECT_EQ(done, expected.size());
    EXPECT_GT(largest, 20U);
  }
  fileIncr = 0;
}

}  // namespace
}  // namespace tabulon
