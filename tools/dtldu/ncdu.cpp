#include "tools/dtldu/ncdu.h"

#include <optional>
#include <string>
#include <vector>

#include "base/loganderr.h"
#include "tools/common/commandline.h"
#include "tools/dtldu/rows.h"
#include "tools/scanreader/filewalk.h"
#include "tools/scanreader/outputbuffer.h"
#include "tools/scanreader/texthash.h"

namespace tabulon {
namespace {

constexpr uint64_t kAllocationUnit = 4096;
constexpr uint32_t kModeTypeFile = 0x8000;  // S_IFREG

// Where the records of a directory are. A sound scan has them in one place.
struct RecordPlace {
  uint64_t position;
  uint32_t next;  // the next place of this directory; kNone: the last
};
constexpr uint32_t kNone = IndexTable::kNone;

// What is needed to write a directory, beside its sums.
struct Links {
  uint32_t firstPlace = kNone, lastPlace = kNone;
  DirNumber firstChild = kNoDir, lastChild = kNoDir, nextSibling = kNoDir;
};

// Numbers of inodes that tell files apart: the lower half is the scan's, the upper one counts the
// files that share it.
class Inodes {
 public:
  explicit Inodes(const Scan& scan) : links_(scan) {}

  bool IsLinked(const RecordFields& fields) const { return links_.IsLinked(fields); }
  uint64_t NumberOf(const RecordFields& fields) {
    bool first = false;
    const uint32_t file = links_.NumberOf(fields, first);
    if (first) sharing_.push_back(CountOne(fields.inode()));
    return uint64_t{sharing_[file]} << 32 | fields.inode();
  }

 private:
  // How many files had this inode before.
  uint32_t CountOne(uint32_t inode) {
    const uint64_t hash = MixWords(seed_, inode);
    const uint32_t known =
        byInode_.Find(hash, [&](uint32_t i) { return counts_[i].inode == inode; });
    if (known != IndexTable::kNone) return ++counts_[known].others;
    byInode_.Add(hash, static_cast<uint32_t>(counts_.size()));
    counts_.push_back({inode, 0});
    return 0;
  }

  struct Count {
    uint32_t inode, others;
  };
  HardLinks links_;
  std::vector<uint32_t> sharing_;  // by number of the file
  uint64_t seed_ = RandomSeed();
  std::vector<Count> counts_;
  IndexTable byInode_;
};

class NcduWriter {
 public:
  NcduWriter(const QueriedScan& scan, const DuOptions& options, int fd)
      : scan_(scan),
        options_(options),
        out_(fd),
        tree_(scan.separator(), 1),
        reader_(scan.scan),
        inodes_(scan.scan) {
    record_.directory = &directory_;
  }

  bool Collect(ReadProgress& progress);
  void Write();

 private:
  void NotePlace(DirNumber dir, uint64_t position);
  void LinkChildren();
  bool IsShown(DirNumber dir) const { return !options_.where || tree_.sums(0, dir).files > 0; }
  void Open(DirNumber dir, std::string_view name);
  void WritePlace(uint64_t position, bool& open, std::string_view name);
  void OpenBrace(std::string_view name);
  void Directory(std::string_view name, const RecordFields* fields);
  void File(const RecordFields& fields);
  void CommonFields(const RecordFields& fields);
  void Field(std::string_view name, uint64_t value);
  DirNumber CloseUpTo(DirNumber dir, DirNumber first);

  const QueriedScan& scan_;
  const DuOptions& options_;
  OutputBuffer out_;
  DirTree tree_;
  BlockArray<Links> links_;
  std::vector<RecordPlace> places_;
  RecordReader reader_;
  ScanRecord record_;
  std::string directoryBytes_;
  RecordText directory_;
  Inodes inodes_;
  ExportText text_;
};

void NcduWriter::NotePlace(DirNumber dir, uint64_t position) {
  links_.GrowTo(tree_.size());
  if (places_.size() == kNone) ErrExit(L"The scan has too many directories\n");
  const auto place = static_cast<uint32_t>(places_.size());
  places_.push_back({position, kNone});
  Links& links = links_[dir];
  (links.firstPlace == kNone ? links.firstPlace : places_[links.lastPlace].next) = place;
  links.lastPlace = place;
}

// The pass that finds where the records of each directory are.
bool NcduWriter::Collect(ReadProgress& progress) {
  DirNumber dir = kRootDir;
  NotePlace(dir, scan_.scan.logRoot.firstRecord);
  const bool whole = WalkFiles(
      scan_.scan, scan_.filter(), progress,
      [&](std::string_view path, uint64_t position) {
        dir = tree_.Number(path);
        if (position != scan_.scan.logRoot.firstRecord) {
          NotePlace(dir, position);
        } else if (dir != kRootDir) {
          places_.clear();
          links_[kRootDir] = {};
          NotePlace(dir, position);
        }
      },
      [&](const RecordBatch&, size_t) { ++tree_.sums(0, dir).files; });
  tree_.AddUp();
  links_.GrowTo(tree_.size());
  LinkChildren();
  return whole;
}

void NcduWriter::LinkChildren() {
  for (DirNumber dir = kRootDir + 1; dir < tree_.size(); ++dir) {
    Links& above = links_[tree_.parent(dir)];
    (above.firstChild == kNoDir ? above.firstChild : links_[above.lastChild].nextSibling) = dir;
    above.lastChild = dir;
  }
}

// Directories are written with those below them, without recursion, as the tree may be deep.
void NcduWriter::Write() {
  const DirNumber first = options_.dir ? FindDirectory(tree_, scan_.root, *options_.dir) : kRootDir;
  if (first == kNoDir) ErrExit(L"The scan has no directory '%s'\n", *options_.dir);
  out_.Raw("[1,2,{\"progname\":\"dtldu\",\"progver\":\"");
  out_.Raw(kToolVersion);
  out_.Raw("\",\"timestamp\":");
  out_.Decimal(scan_.scan.logHdr.scanTime);
  out_.Put('}');
  std::string path;
  tree_.PathOf(first, scan_.root, path);
  Open(first, path);
  for (DirNumber dir = first; dir != kNoDir;) {
    DirNumber next = links_[dir].firstChild;
    if (next == kNoDir) next = CloseUpTo(dir, first);
    while (next != kNoDir && !IsShown(next)) {
      const DirNumber sibling = links_[next].nextSibling;
      next = sibling != kNoDir ? sibling : CloseUpTo(tree_.parent(next), first);
    }
    if (next != kNoDir) Open(next, tree_.name(next));
    dir = next;
  }
  out_.Raw("]\n");
  out_.Flush();
}

// Closes the directory and those above it that have nothing more in them; returns what comes next.
DirNumber NcduWriter::CloseUpTo(DirNumber dir, DirNumber first) {
  for (;; dir = tree_.parent(dir)) {
    out_.Put(']');
    if (dir == first) return kNoDir;
    if (links_[dir].nextSibling != kNoDir) return links_[dir].nextSibling;
  }
}

// Begins a directory and writes the files in it.
void NcduWriter::Open(DirNumber dir, std::string_view name) {
  bool open = false;
  for (uint32_t place = links_[dir].firstPlace; place != kNone; place = places_[place].next) {
    WritePlace(places_[place].position, open, name);
  }
  if (!open) Directory(name, nullptr);
}

// The records of one place: the directory's own record (the files before the first directory have
// none) and those up to the next directory.
void NcduWriter::WritePlace(uint64_t position, bool& open, std::string_view name) {
  for (bool first = true; reader_.Read(position, record_.view); first = false) {
    const RecordFields& fields = record_.fields();
    position = record_.view.next;
    if (fields.isDirectory()) {
      if (!first) return;
      directoryBytes_.assign(record_.view.name);
      directory_.Assign(directoryBytes_);
      if (!open) Directory(name, &fields);
      open = true;
      continue;
    }
    if (first) directory_.Assign({});
    if (!open) Directory(name, nullptr);
    open = true;
    record_.name.Assign(record_.view.name);
    if (record_.view.hasTarget) record_.target.Assign(record_.view.target);
    if (scan_.filter() == nullptr || scan_.filter()->Passes(record_)) File(fields);
  }
}

void NcduWriter::OpenBrace(std::string_view name) {
  out_.FlushWhenNearlyFull();
  EscapeText(ExportFormat::kNdjson, name, text_);
  out_.Raw("{\"name\":\"");
  out_.Raw(text_.escaped);
  out_.Put('"');
}

// The browsers tell files of one inode apart by the device, which each directory hands down.
void NcduWriter::Directory(std::string_view name, const RecordFields* fields) {
  out_.Raw(",\n[");
  OpenBrace(name);
  Field("dev", 1);
  if (fields != nullptr) CommonFields(*fields);
  out_.Put('}');
}

void NcduWriter::File(const RecordFields& fields) {
  const uint64_t size = fields.size();
  const uint64_t units = size / kAllocationUnit + (size % kAllocationUnit != 0 ? 1 : 0);
  out_.Raw(",\n");
  OpenBrace(TextOf(record_.view.name));
  Field("asize", size);
  Field("dsize", units * kAllocationUnit);
  if (options_.linksOnce && inodes_.IsLinked(fields)) {
    Field("ino", inodes_.NumberOf(fields));
    Field("nlink", fields.links());
    out_.Raw(",\"hlnkc\":true");
  }
  const bool otherType =
      !scan_.scan.isCifs() && (fields.attributes() & kModeTypeMask) != kModeTypeFile;
  if ((fields.flags() & kRecordHasTarget) != 0 || otherType) out_.Raw(",\"notreg\":true");
  CommonFields(fields);
  out_.Put('}');
}

void NcduWriter::CommonFields(const RecordFields& fields) {
  Field("mtime", fields.modified());
  if (scan_.scan.isCifs()) return;
  Field("uid", fields.uid());
  Field("gid", fields.gid());
  Field("mode", fields.attributes() & 0xFFFF);
}

void NcduWriter::Field(std::string_view name, uint64_t value) {
  out_.Raw(",\"");
  out_.Raw(name);
  out_.Raw("\":");
  out_.Decimal(value);
}

}  // namespace

bool WriteNcdu(const QueriedScan& scan, const DuOptions& options, int fd, ReadProgress& progress) {
  NcduWriter writer(scan, options, fd);
  const bool whole = writer.Collect(progress);
  writer.Write();
  return whole;
}

}  // namespace tabulon
