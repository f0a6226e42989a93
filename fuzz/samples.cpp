#include "fuzz/samples.h"

#include <array>
#include <cstring>
#include <utility>

#include "base/bytes.h"
#include "detail/reporttype.h"
#include "reports/reportkinds.h"
#include "tests/support/dtlbuild.h"

namespace tabulon {
namespace {

constexpr uint32_t kNow = 1'700'000'000;
constexpr uint32_t kDay = 86'400;

// Lengths in the sections are multiples of four, so that all their numbers have aligned offsets.
constexpr size_t kGrid = 4;

std::vector<RecordSpec> CommonRecords(char separator) {
  const auto path = [&](std::string text) {
    for (char& c : text) c = c == '/' ? separator : c;
    return text;
  };
  const RecordSpec twin{.modified = kNow, .size = 4096};
  std::vector<RecordSpec> records = {
      DirectoryRecord(path("/")),
      FileRecord("a.txt", {.modified = kNow, .size = 12, .uid = 1, .gid = 2}),
      FileRecord("twin.dat", twin),
      DirectoryRecord(path("/docs")),
      FileRecord("other.dat", twin),
      FileRecord("third.dat", twin),
      FileRecord("caf\xC3\xA9 \xE2\x82\xAC \xF0\x9F\x98\x80.\xC3\xA9t\xC3\xA9", {.size = 1U << 30}),
      FileRecord("bad\xC3\x28\xFF\xE2\x82.x", {.created = kNow - 400 * kDay}),
      FileRecord("abcdefgh~1.doc", {.links = 2}),
      FileRecord("\x1B[31m\xC2\x9Bred\x07.sh", {.accessed = 1}),
      LinkRecord("link", "../elsewhere/\xC3\xA9"),
      DirectoryRecord(path("/docs/deep")),
      FileRecord(std::string(255, 'n') + ".extension-of-some-length", {.size = 7}),
      DirectoryRecord(path("/empty")),
  };
  std::string longPath;
  for (int i = 0; i < 20; ++i) longPath += "/a component of some length";
  records.push_back(DirectoryRecord(path(longPath)));
  records.push_back(FileRecord("in a long path.txt", {.size = 99}));
  return records;
}

std::vector<RecordSpec> CifsRecords() {
  std::vector<RecordSpec> records = CommonRecords('\\');
  const uint32_t flags[] = {kRecordNoOwner,     kRecordNoGroup,     kRecordOrphanOwner,
                            kRecordOrphanInAcl, kRecordOrphanGroup, 0};
  for (const uint32_t flag : flags) records.push_back(FileRecord("f.exe", {.flags = flag}));
  const uint32_t attributes = kAttrCompressed | kAttrOffline | kAttrEncrypted;
  records.push_back(WithStreams(FileRecord("s.doc", {.attributes = attributes, .size = 5}),
                                {{":one", 1}, {":a stream of its own:$DATA", 1U << 20}}));
  records.push_back(JunctionRecord("junction", "\\??\\C:\\there"));
  records.push_back(WithStreams(MountPointRecord("mount", "\\\\?\\Volume{1}\\"), {{":both", 3}}));
  return records;
}

ScanSpec CifsSpec(uint32_t revision) {
  ScanSpec spec{.kind = ScanKind::kCifs, .revision = revision, .rootPath = "C:\\"};
  spec.flags = kHeaderSacls | kHeaderQvaTagged;
  spec.records = CifsRecords();
  spec.descriptors = {std::string(20, '\x01'), std::string(), std::string(48, '\x02')};
  spec.domains = {"BUILTIN", "", "EXAMPLE"};
  int32_t type = -3;
  for (uint32_t i = 0; i < 6; ++i, type += 2) {
    spec.sids.push_back({.sid = BinarySid(5, {21, i}),
                         .name = i == 4 ? std::string() : "account" + std::to_string(i),
                         .domain = i,
                         .type = type,
                         .firstCount = i,
                         .secondCount = 1});
  }
  return spec;
}

ScanSpec NfsSpec(uint32_t revision) {
  ScanSpec spec{.kind = ScanKind::kNfs, .revision = revision, .rootPath = "/srv/data"};
  spec.flags = kHeaderQvaTagged;
  spec.records = CommonRecords('/');
  spec.records.push_back(FileRecord("stub", {.flags = kRecordNfsStub, .attributes = 0100644}));
  // Names alone bring the body to the size of the other kind's.
  for (int i = 0; i < 6; ++i) {
    spec.records.push_back(FileRecord(std::to_string(i) + std::string(180, 'm'), {.size = 1}));
  }
  for (uint32_t id = 0; id < 8; ++id) {
    spec.ids.push_back({.id = id, .kind = id % 3, .name = std::string(kGrid * (id % 4), 'u')});
  }
  return spec;
}

// Collects the places of the numbers in a built file.
class FieldFinder {
 public:
  FieldFinder(const std::string& bytes, const DtlMap& map, ScanKind kind, bool streams)
      : bytes_(bytes), map_(map), kind_(kind), streams_(streams) {}

  std::vector<Field> Find() {
    Grid(0, kHeaderSize + kRootSize);
    for (const size_t at : {dtl_at::kTagString, dtl_at::kServerString, dtl_at::kRootString,
                            dtl_at::kShareString, dtl_at::kHostString, dtl_at::kQvaRootString}) {
      if (const uint32_t string = Number(at); string != 0) fields_.push_back({string, 2});
    }
    for (const uint64_t record : map_.records) AddRecord(record);
    fields_.push_back({map_.recordsEnd, 4});
    const bool cifs = kind_ == ScanKind::kCifs;
    Grid(Number(cifs ? dtl_at::kSecuritySection : dtl_at::kIdSection), bytes_.size());
    return std::move(fields_);
  }

 private:
  uint32_t Number(size_t at) const { return LoadU32(bytes_.data() + at); }

  void Grid(size_t from, size_t to) {
    for (size_t at = from; at < to; at += kGrid) fields_.push_back({at, kGrid});
  }

  void AddRecord(size_t record) {
    const bool cifs = kind_ == ScanKind::kCifs;
    const RecordLayout& at = cifs ? kCifsRecord : kNfsRecord;
    fields_.insert(
        fields_.end(),
        {{record, 4}, {record + at.nameLength, 2}, {record + at.targetLength, cifs ? 4U : 2U}});
    if (!cifs) return;
    fields_.push_back({record + kCifsRecord.streamCount, 4});
    if (!streams_) return;
    size_t stream = record + at.fixedSize + LoadU16(bytes_.data() + record + at.nameLength);
    for (uint32_t left = Number(record + kCifsRecord.streamCount); left > 0; --left) {
      fields_.push_back({stream, 2});
      stream += LoadU16(bytes_.data() + stream) + kStreamEntryOverhead;
    }
  }

  const std::string& bytes_;
  const DtlMap& map_;
  ScanKind kind_;
  bool streams_;
  std::vector<Field> fields_;
};

Sample MakeSample(ScanKind kind, uint32_t revision) {
  const bool cifs = kind == ScanKind::kCifs;
  ScanSpec spec = cifs ? CifsSpec(revision) : NfsSpec(revision);
  spec.revision |= kRevisionSubdirCounts;
  spec.scanTime = kNow;
  spec.server = "filer";
  spec.share = "share";
  spec.host = "host";
  spec.qvaRoot = "\\root";
  spec.tag = PaddedTag("tag");
  spec.orphanedSids = 1;
  DtlMap map;
  Sample sample{.name = (cifs ? "cifs" : "nfs") + std::to_string(revision),
                .kind = kind,
                .bytes = BuildDtl(spec, &map),
                .fields = {},
                .blocks = kHeaderSize + kRootSize + (revision == 8 ? kVersionSize : 0)};
  sample.fields = FieldFinder(sample.bytes, map, kind, revision >= 7).Find();
  return sample;
}

}  // namespace

std::string WithField(std::string bytes, const Field& field, uint32_t value) {
  std::memcpy(&bytes.at(field.at), &value, field.width);
  return bytes;
}

const std::vector<Sample>& Samples() {
  static const std::vector<Sample> samples = [] {
    std::vector<Sample> made;
    for (const ScanKind kind : {ScanKind::kCifs, ScanKind::kNfs}) {
      for (const uint32_t revision : {6U, 7U, 8U}) made.push_back(MakeSample(kind, revision));
    }
    return made;
  }();
  return samples;
}

std::string TwinScan(ScanKind kind, uint32_t files) {
  const bool cifs = kind == ScanKind::kCifs;
  // clang-format off
  ScanSpec spec{.kind = kind, .revision = 8 | kRevisionSubdirCounts, .scanTime = kNow,
                .rootPath = cifs ? "C:\\" : "/", .records = {DirectoryRecord(cifs ? "\\" : "/")},
                .descriptors = {"descriptor"}, .domains = {"D"},
                .sids = {{.sid = BinarySid(5, {1}), .name = "a"}},
                .ids = {{.id = 1, .name = "root"}}};
  // clang-format on
  for (uint32_t i = 0; i < files; ++i) {
    const std::string name = "f" + std::to_string(i % 700) + ".txt";
    spec.records.push_back(FileRecord(name, {.size = 100 + i % 40}));
  }
  return BuildDtl(spec);
}

std::string SampleConfiguration(ScanKind kind) {
  std::string text =
      "[parameters]\nfileincrement=4096\nfilesizebands=1K,64K,1M\nmdatebands=1y,1w\n"
      "timebase=scandate\nmaxpathlength=200\nmaxpathunits=chars\nisocodepage=8859-15\n"
      "dateformat=%Y-%m-%d %H:%M:%S\npermissionform=hex\n[classes]\nDocs=doc,txt,*x\n";
  const uint32_t other = kind == ScanKind::kCifs ? kNfsOnly : kCifsOnly;
  int number = 0;
  for (const ReportKind& type : kReportKinds) {
    if ((type.scans & other) != 0) continue;
    text += "[report]\ntype=" + std::string(type.keyword.begin(), type.keyword.end());
    text += number % 2 == 0 ? "\noutput=standard" : "\noutput=csv";
    text += "\nreportfile=r" + std::to_string(number++);
    text += "\ntotals=yes\nextlen=30\nshowlink=yes\n";
    if (number % 3 == 0) text += "pathform=relative\nnameform=fullpath\n";
    if (type.code == kReportCustom) text += "filter=size gt 5 [or] class is Docs\n";
  }
  text += "[report]\ntype=custom\noutput=csv\nreportfile=all\n";
  return text;
}

std::string SampleQuery(ScanKind kind) {
  const std::string own = kind == ScanKind::kCifs
                              ? "attrs includes H [or] ads gt 1 [or] owner is x [or] acl includes "
                                "EXAMPLE\\account2"
                              : "target matches *x [or] links ne 1 [or] uid ge 1 [or] gid lt 7 "
                                "[or] inode eq 3";
  return "(name matches *.d?t [or] path matches ~docs~) [or] size gt 5 [or] adate before 2y [or] "
         "cdate since 1d [or] (mdate upto 1w [and] (type is file [or] sdircount ge 1)) [or] " +
         own;
}

}  // namespace tabulon
