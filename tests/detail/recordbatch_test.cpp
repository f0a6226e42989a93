// Batches of records against the same records read one by one, and their texts against the plain
// conversion.
#include "detail/recordbatch.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <span>
#include <string>
#include <tuple>
#include <vector>

#include "base/utf.h"
#include "batches.h"
#include "detail/recordtext.h"
#include "detail/scandetail.h"

namespace tabulon {
namespace {

// Any mixture of directories, files, links and streams, with names of every kind and length; it is
// longer than the reader's window, and some records do not fit one.
ScanSpec RandomScan(ScanKind kind, uint32_t revision, int records, std::mt19937& random) {
  ScanSpec scan{
      .kind = kind, .revision = revision, .rootPath = kind == ScanKind::kCifs ? "C:\\" : "/"};
  const auto name = [&] {
    const size_t most = random() % 50 == 0 ? 3000 : random() % 4 == 0 ? 70 : 20;
    std::string text(random() % most, 'n');
    if (!text.empty() && random() % 3 == 0) text[random() % text.size()] = '.';
    if (random() % 6 == 0) text.insert(random() % (text.size() + 1), "\xC3\xA9");
    if (random() % 40 == 0) text.push_back('\0');
    return text;
  };
  const std::vector<StreamSpec> manyStreams(30, {std::string(60'000, 's'), 5});
  for (int i = 0; i < records; ++i) {
    RecordSpec record = FileRecord(name(), {.size = random() % 1000});
    const size_t length = random() % 2 == 0 ? random() % 60'000 : random() % 40;
    const size_t choice = random() % 12;
    if (choice == 0) record = DirectoryRecord(name().insert(0, 1, '/'), record);
    if (choice == 1) record = LinkRecord(name(), std::string(length, 't'), record);
    if (choice == 2) record = WithStreams(record, {{name(), 3}, {std::string(length, 's'), 9}});
    if (choice == 3) record = WithStreams(record, {{name(), 7}});
    if (i % 3000 == 1000) record = WithStreams(LinkRecord(name(), "far", record), manyStreams);
    scan.records.push_back(std::move(record));
  }
  return scan;
}

std::wstring WideName(const std::string& stored) {
  std::wstring wide;
  AppendUtfToWide(wide, stored);
  return wide.substr(0, wide.find(L'\0'));
}

// Name as stored and widened, target, directory, whether there is a target, position, position of
// the directory, size and number of streams.
using Whole = std::tuple<std::string, std::wstring, std::string, std::wstring, bool, uint64_t,
                         uint64_t, uint64_t, int32_t>;

Whole Copy(const ScanRecord& record) {
  const RecordView& view = record.view;
  return {std::string(view.name),
          std::wstring(record.name.Wide()),
          view.hasTarget ? std::string(view.target) : "",
          std::wstring(record.directory->Wide()),
          view.hasTarget,
          view.position,
          record.directoryPosition,
          record.fields().size(),
          view.streamCount};
}

std::vector<Whole> Expected(const ScanSpec& scan) {
  DtlMap map;
  BuildDtl(scan, &map);
  std::vector<Whole> expected;
  std::wstring directory;
  uint64_t directoryPosition = 0;
  for (size_t i = 0; i < scan.records.size(); ++i) {
    const RecordSpec& spec = scan.records[i];
    if ((spec.flags & kRecordDirectory) != 0) {
      directory = WideName(spec.name);
      directoryPosition = map.records[i];
    }
    const bool hasTarget = (spec.flags & kRecordHasTarget) != 0;
    const bool streamed = scan.kind == ScanKind::kCifs && scan.revision > 6;
    const size_t streams = streamed ? spec.streams.size() : 0;
    expected.emplace_back(spec.name + '\0', WideName(spec.name),
                          hasTarget ? spec.target + '\0' : "", directory, hasTarget, map.records[i],
                          directoryPosition, spec.size, static_cast<int32_t>(streams));
  }
  return expected;
}

void ExpectNames(RecordBatch& batch, std::span<const RecordSpec> records) {
  batch.WantNames();
  const RecordBatch::Names& names = batch.names();
  for (size_t i = 0; i < batch.size(); ++i) {
    const std::string text = records[i].name.substr(0, records[i].name.find('\0'));
    const bool isAscii = std::ranges::all_of(text, [](char c) { return c > 0; });
    ASSERT_EQ(names.other[i] == 0, isAscii) << text;
    ASSERT_EQ(names.tail[i], isAscii ? TailWord(text) : 0) << text;
    ASSERT_EQ(batch.AsciiName(i), isAscii ? text : "");
    ASSERT_TRUE(isAscii || batch.OtherName(i).Wide() == WideName(text)) << text;
  }
}

// Names are asked for before the records, after them, both or not at all, so that those of the next
// batch are known or not when it is filled.
TEST(RecordBatch, ShowsTheRecordsOfTheFile) {
  constexpr uint64_t kWindow = 16 << 20;
  std::mt19937 random(11);
  for (const auto& [kind, revision] :
       {std::pair(ScanKind::kNfs, 8U), {ScanKind::kCifs, 6U}, {ScanKind::kCifs, 7U}}) {
    const ScanSpec scan = RandomScan(kind, revision, 16'000, random);
    const std::vector<Whole> expected = Expected(scan);
    ASSERT_GT(std::get<5>(expected.back()), kWindow);
    size_t done = 0;
    size_t fullUnknown = 0, fullKnown = 0;
    ForEachBatch(scan, [&](Pass& at) {
      RecordBatch& batch = at.batch;
      ASSERT_LE(done + batch.size(), expected.size());
      const auto records = std::span(scan.records).subspan(done, batch.size());
      (batch.namesKnown() ? fullKnown : fullUnknown) += batch.size() == RecordBatch::kMost;
      const size_t choice = random() % 4;
      if (choice % 2 == 1) ExpectNames(batch, records);
      for (size_t i = random() % 40; i < batch.size(); i += 1 + random() % 40) {
        ASSERT_EQ(Copy(batch.At(i)), expected[done + i]) << done + i;
      }
      for (size_t pass = 0; pass < 2; ++pass) {  // back to the first one, too
        for (size_t i = 0; i < batch.size(); ++i) {
          ASSERT_EQ(batch.fields(i).size(), records[i].size);
          ASSERT_EQ(Copy(batch.At(i)), expected[done + i]) << done + i;
          if (pass == 0) continue;
          ASSERT_EQ(batch.DirectoryPositionOf(i), std::get<6>(expected[done + i]));
        }
      }
      if (choice >= 2) ExpectNames(batch, records);
      done += batch.size();
    });
    EXPECT_EQ(done, expected.size());
    const bool streamsKeepBatchesShort = kind == ScanKind::kCifs;
    EXPECT_TRUE(streamsKeepBatchesShort || std::min(fullKnown, fullUnknown) > 5);
  }
}

// Who looks at a name in place reads so far, whatever the file ends with.
TEST(RecordBatch, RecordsReadAheadHaveRoomBehindTheStartOfTheName) {
  ScanSpec scan{.kind = ScanKind::kNfs};
  for (size_t i = 0; i < 20; ++i) scan.records.push_back(FileRecord(std::string(i % 7 * 9, 'n')));
  DtlMap map;
  const std::string bytes = BuildDtl(scan, &map);
  map.records.push_back(map.recordsEnd);
  for (uint64_t size = map.records.front(); size <= bytes.size(); ++size) {
    const UniqueFd file = FileInMemory(bytes.substr(0, size));
    RecordReader reader(file.get(), kNfsRecord, false);
    RecordView view;
    uint64_t position = map.records.front();
    reader.Read(position, view);  // moves the window there
    const auto take = [&](size_t i, const RecordFields&) {
      ASSERT_LE(map.records[i] + kNfsRecord.fixedSize + kReadable, size);
    };
    ASSERT_EQ(map.records[reader.ReadAhead(position, UINT64_MAX, 100, take)], position);
  }
}

// Every text is what the plain conversion of its bytes gives, up to the first zero unit.
TEST(RecordText, DecodesLikeThePlainConversion) {
  std::mt19937 random(9);
  const std::string alphabet("a.\0Z\x7F\x80\xC0\xC3\xA9\xE2\x82\xAC\xF0\xFF", 14);
  RecordText text;
  for (int i = 0; i < 100000; ++i) {
    std::string bytes;
    const bool plain = random() % 2 == 0;
    for (size_t n = random() % 20; n > 0; --n) {
      bytes.push_back(plain ? 'a' : alphabet[random() % alphabet.size()]);
    }
    std::wstring expected;
    AppendUtfToWide(expected, bytes);
    expected.resize(std::min(expected.find(L'\0'), expected.size()));
    text.Assign(bytes);
    EXPECT_EQ(text.LastDot(), expected.rfind(L'.') == std::wstring::npos
                                  ? -1
                                  : static_cast<std::ptrdiff_t>(expected.rfind(L'.')));
    ASSERT_EQ(text.Wide(), expected) << testing::PrintToString(bytes);
    if (text.IsAscii()) {
      ASSERT_EQ(std::wstring(text.Ascii().begin(), text.Ascii().end()), expected);
    }
  }
}

}  // namespace
}  // namespace tabulon
