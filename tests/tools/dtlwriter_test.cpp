#include "tools/scanwriter/dtlwriter.h"

#include <gmock/gmock.h>

#include <tuple>

#include "tests/support/dtlbuild.h"

namespace tabulon {
namespace {

using namespace std::string_literals;

std::string Zeros(size_t count) {
  return std::string(count, '\0');
}

// Every byte of a small record of each form, written down by hand.
TEST(DtlWriter, RecordsStandByteForByteAsTheFormatWants) {
  // clang-format off
  const RecordSpec link{
      .flags = kRecordSymlink, .attributes = 0x01020304, .created = 0x11, .accessed = 0x22,
      .modified = 0x33, .size = 0x0102030405060708, .uid = 0x44, .gid = 0x55, .inode = 0x66,
      .links = 0x77, .name = "ab", .target = "xyz"};
  // clang-format on
  RecordSpec streamed = link;
  streamed.flags |= kRecordHasStreams;
  streamed.streams = {{":s", 9}, {"", 0x100}};
  const std::string times = "\x11\0\0\0\x22\0\0\0\x33\0\0\0"s;
  const std::string size = "\x08\x07\x06\x05\x04\x03\x02\x01"s;
  const std::string owner = "\x44\0\0\0\x55\0\0\0\x66\0\0\0"s;
  const std::string nfs = "\0\0\1\0"s + owner + "\4\3\2\1"s + times + size + "\x77\0\0\0\3\0\4\0"s;
  const std::string cifs = "\x80\0\1\0\0\0\0\0\4\3\2\1"s + times + size + Zeros(8) + owner +
                           "\x77\0\0\0"s + Zeros(12) + "\4\0\0\0\3\0\0\0\2\0\0\0"s;
  const std::string streams = "\3\0:s\0\x9\0\0\0\0\0\0\0\1\0\0\0\1\0\0\0\0\0\0"s;
  const std::tuple<ScanKind, uint32_t, RecordSpec, std::string> rows[] = {
      {ScanKind::kNfs, 8, link, nfs + "ab\0xyz\0"s},
      {ScanKind::kCifs, 7, streamed, cifs + "ab\0"s + streams + "xyz\0"s},
      {ScanKind::kCifs, 6, streamed, cifs + "ab\0xyz\0"s},
  };
  for (const auto& [kind, revision, record, expected] : rows) {
    DtlMap map;
    const std::string bytes =
        BuildDtl({.kind = kind, .revision = revision, .records = {record}}, &map);
    EXPECT_EQ(bytes.substr(map.records[0], map.recordsEnd - map.records[0]), expected);
    const size_t fixed = kind == ScanKind::kNfs ? 48 : 80;
    EXPECT_EQ(bytes.substr(map.recordsEnd), "\xFF\xFF\xFF\xFF" + Zeros(fixed - 4));
  }
}

}  // namespace
}  // namespace tabulon
