#include "tools/scanwriter/dtlwriter.h"

#include <gmock/gmock.h>

#include <tuple>

#include "scanread.h"
#include "tests/support/dtlbuild.h"
#include "tools/common/terminaltext.h"

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

TEST(DtlWriter, HeaderAndRootComeBackFromTheReader) {
  const TempDir dir;
  // clang-format off
  WriteDtl(dir / "s.dtl",
           {.kind = ScanKind::kCifs, .flags = kHeaderSacls | kHeaderQvaTagged, .server = "M\xFC\xC3\xBCller",
            .rootPath = "C:\\\xF0\x9F\x98\x80", .share = "\\\\s\\x", .host = "h", .qvaRoot = "q",
            .tag = PaddedTag("TAG"), .version = {"1.2.3-toolong", "platform", "arch"},
            .descriptors = {"d1", "d2"}, .domains = {"DOM"},
            .sids = {{.sid = "sid", .name = "user"}}});
  // clang-format on
  const auto& [header, root, version, records, end] = ReadScan(dir / "s.dtl");
  const std::string bytes = ReadFile(dir / "s.dtl");
  EXPECT_EQ(header.flags, kHeaderSacls | kHeaderQvaTagged);
  EXPECT_EQ(header.uniqueSds * 10 + header.sids, 21u);
  EXPECT_EQ(version.scanVersion + version.buildPlatform + version.buildArchitecture,
            "1.2.3-toolonplatformarch");
  EXPECT_EQ(ReadUnits(bytes, header.serverString), u"M\uFFFDüller\0"s);
  EXPECT_EQ(ReadUnits(bytes, root.rootString), u"C:\\\U0001F600\0"s);
  EXPECT_EQ(ReadUnits(bytes, root.shareString), u"\\\\s\\x\0"s);
  EXPECT_EQ(ReadUnits(bytes, root.hostString), u"h\0"s);
  EXPECT_EQ(ReadUnits(bytes, root.qvaRootString), u"q\0"s);
  EXPECT_EQ(ReadUnits(bytes, header.tagString).size(), 33u);
  EXPECT_EQ(bytes.substr(header.securitySection),
            "\2\0\0\0\2\0\0\0d1\2\0\0\0d2"
            "\1\0\0\0\x10\0\0\0D\0\0\0O\0\0\0M\0\0\0\0\0\0\0"
            "\1\0\0\0\3\0\0\0\x14\0\0\0\0\0\0\0\1\0\0\0\0\0\0\0\0\0\0\0"
            "sidu\0\0\0s\0\0\0e\0\0\0r\0\0\0\0\0\0\0"s);
  const std::string ids = BuildDtl({.ids = {{7, kIdGroup, 9, "wheel"}}});
  EXPECT_TRUE(ids.ends_with("\1\0\0\0\7\0\0\0\2\0\0\0\x9\0\0\0\5\0\0\0wheel"s));
  EXPECT_EQ(LoadU64(ids.data() + dtl_at::kIdSection), ids.size() - 25);
}

}  // namespace
}  // namespace tabulon
