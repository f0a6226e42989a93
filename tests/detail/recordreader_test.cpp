// The record window and the texts in it: every cut, every record that is longer than the window,
// and any bytes as names.
#include "detail/recordreader.h"

#include <gtest/gtest.h>

#include <fcntl.h>

#include <random>
#include <string>
#include <vector>

#include "base/uniquefd.h"
#include "detail/recordtext.h"
#include "support.h"
#include "tools/dtlbuild.h"

namespace tabulon {
namespace {

UniqueFd OpenBytes(const TempDir& dir, const std::string& bytes) {
  WriteFile(dir / "records", bytes);
  return UniqueFd(open((dir / "records").c_str(), O_RDONLY));
}

struct Seen {
  std::string name, target;
  uint64_t position = 0;
};

std::vector<Seen> ReadAll(const UniqueFd& file, uint64_t first) {
  RecordReader reader(file.get(), kCifsRecord, true);
  std::vector<Seen> seen;
  RecordView view;
  for (uint64_t at = first; reader.Read(at, view); at = view.next) {
    seen.push_back({std::string(view.name), std::string(view.target), view.position});
    EXPECT_GT(view.next, at);
  }
  return seen;
}

// Records around the sizes of the window's blocks, so that every kind of crossing happens.
TEST(RecordReader, ReadsRecordsWhereverTheWindowEnds) {
  std::mt19937 random(5);
  ScanSpec scan{.kind = ScanKind::kCifs, .rootPath = "C:\\", .records = {DirectoryRecord("\\")}};
  for (int i = 0; i < 400; ++i) {
    const std::string name(1 + random() % 3000, static_cast<char>('a' + i % 26));
    if (i % 7 == 0) {
      scan.records.push_back(LinkRecord(name, std::string(random() % 60000, 't')));
    } else if (i % 11 == 0) {
      std::vector<StreamSpec> streams(1 + random() % 40, {std::string(random() % 60000, 's'), 9});
      scan.records.push_back(WithStreams(LinkRecord(name, "to " + name), std::move(streams)));
    } else {
      scan.records.push_back(FileRecord(name));
    }
  }
  DtlMap map;
  const std::string bytes = BuildDtl(scan, &map);
  const TempDir dir;
  const UniqueFd file = OpenBytes(dir, bytes);

  const std::vector<Seen> seen = ReadAll(file, map.records[0]);
  ASSERT_EQ(seen.size(), scan.records.size());
  for (size_t i = 0; i < seen.size(); ++i) {
    EXPECT_EQ(seen[i].name, scan.records[i].name + '\0');
    EXPECT_EQ(seen[i].position, map.records[i]);
    const bool linked = (scan.records[i].flags & kRecordHasTarget) != 0;
    EXPECT_EQ(seen[i].target, linked ? scan.records[i].target + '\0' : "");
  }
  // In any order, too.
  RecordReader reader(file.get(), kCifsRecord, true);
  RecordView view;
  for (int i = 0; i < 500; ++i) {
    const size_t pick = random() % seen.size();
    ASSERT_TRUE(reader.Read(map.records[pick], view));
    EXPECT_EQ(view.name, seen[pick].name);
    EXPECT_EQ(view.target, seen[pick].target);
  }
}

TEST(RecordReader, TakesWhatIsThereOfACutFile) {
  DtlMap map;
  const RecordSpec link = LinkRecord("name", "target");
  const std::string bytes =
      BuildDtl({.kind = ScanKind::kCifs,
                .records = {DirectoryRecord("\\"), WithStreams(link, {{":one", 1}, {":two", 2}}),
                            FileRecord("last")}},
               &map);
  const TempDir dir;
  for (size_t length = map.records[1]; length < map.recordsEnd; ++length) {
    const UniqueFd file = OpenBytes(dir, bytes.substr(0, length));
    const std::vector<Seen> seen = ReadAll(file, map.records[0]);
    const size_t whole = length < map.records[1] + kCifsRecord.fixedSize   ? 1U
                         : length < map.records[2] + kCifsRecord.fixedSize ? 2U
                                                                           : 3U;
    ASSERT_EQ(seen.size(), whole) << length;
    if (whole < 2) continue;
    EXPECT_TRUE(std::string("name", 5).starts_with(seen[1].name));
    EXPECT_TRUE(std::string("target", 7).starts_with(seen[1].target));
  }
}

// The rules written out: one, two or three bytes a unit by the lead's leading ones, bytes behind
// the end are zero, a zero where a lead is wanted ends the text, and so does a unit of zero.
std::wstring PlainDecode(const std::string& bytes) {
  std::wstring text;
  const auto at = [&](size_t i) { return i < bytes.size() ? bytes[i] & 0xFF : 0; };
  for (size_t i = 0; at(i) != 0;) {
    const int lead = at(i);
    int unit = lead;
    if (lead >= 0x80 && lead >> 5 == 6) unit = (lead & 0x1F) << 6 | (at(i + 1) & 0x3F);
    if (lead >= 0x80 && lead >> 5 != 6) {
      unit = lead << 12 | (at(i + 1) >> 2 & 0xF) << 8 | (at(i + 1) & 3) << 6 | (at(i + 2) & 0x3F);
    }
    if (unit == 0) break;
    text.push_back(unit);
    i += lead < 0x80 ? 1 : lead >> 5 == 6 ? 2 : 3;
  }
  return text;
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
    const std::wstring expected = PlainDecode(bytes);
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
