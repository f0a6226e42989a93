#include "reports/dupreport.h"

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

#include "config/settings.h"
#include "detail/detailfile.h"
#include "detail/recordreader.h"
#include "reports/dupfinder.h"
#include "reports/linewriter.h"
#include "reports/reportdir.h"
#include "reports/reportwriter.h"
#include "reports/valueformat.h"

namespace tabulon {
namespace {

// Groups are written in batches of dupLimits.written members or about so many bytes of text: within
// a batch the records are read in file order, whatever the order of the groups, so that the file is
// passed over once a batch and memory stays bounded. A large group is spread over several batches.
constexpr uint64_t kBatchText = uint64_t{96} << 20;

// Members of a group that are looked at before the batch is known to hold them.
constexpr size_t kPartMembers = 64U << 10;

// How many records ahead the next ones are fetched.
constexpr size_t kLookAhead = 8;

// Some members of a group that follow one another.
struct GroupPart {
  DupGroup group;
  uint32_t first;  // of them, counted in the group
  uint32_t count;
  bool begins() const { return first == 0; }
  bool ends() const { return first + count == group.count; }
};

// A batch: parts of groups, their members, and what the members' records say.
class Batch {
 public:
  Batch()
      : records_(dtlFile.get(), DetailRecordLayout(), dtlRev7_OrHigher),
        directories_(dtlFile.get(), DetailRecordLayout(), false) {}

  struct Text {
    size_t at = 0;
    size_t length = 0;
  };
  // A member's record.
  struct Entry {
    Text name;
    Text directory;
    bool inDirectory = false;
    uint32_t created = 0;
    uint32_t accessed = 0;
    uint32_t modified = 0;
  };

  bool full() const { return members_.size() >= dupLimits.written || textLength_ >= kBatchText; }
  // Adds members of the group from number `first` on; returns how many. REQUIRES: !full().
  uint32_t Add(DupGroups& groups, const DupGroup& group, uint32_t first) {
    const size_t at = members_.size();
    const size_t room = std::min(dupLimits.written - at, kPartMembers);
    groups.members().Read(group.first + first, std::min<size_t>(group.count - first, room),
                          members_);
    size_t end = at;
    while (end < members_.size() && textLength_ < kBatchText) {
      textLength_ += members_[end++].textLength;
    }
    members_.resize(end);
    const auto count = static_cast<uint32_t>(end - at);
    parts_.push_back({group, first, count});
    return count;
  }
  void ReadRecords();
  void Clear() {
    parts_.clear();
    members_.clear();
    text_.clear();
    textLength_ = 0;
  }

  const std::vector<GroupPart>& parts() const { return parts_; }
  const Entry& entry(size_t member) const { return entries_[member]; }
  std::string_view View(const Text& text) const {
    return std::string_view(text_).substr(text.at, text.length);
  }

 private:
  Text Keep(std::string_view bytes) {
    text_.append(bytes);
    return {text_.size() - bytes.size(), bytes.size()};
  }
  void ReadRecord(size_t member);

  RecordReader records_;
  RecordReader directories_;
  std::vector<GroupPart> parts_;
  std::vector<DupMember> members_;
  std::vector<Entry> entries_;   // by member
  std::vector<uint32_t> order_;  // members in file order
  std::string text_;
  uint64_t textLength_ = 0;
  uint64_t directoryPosition_ = 0;
  Text directory_;
};

void Batch::ReadRecords() {
  entries_.assign(members_.size(), {});
  order_.resize(members_.size());
  for (uint32_t i = 0; i < order_.size(); ++i) order_[i] = i;
  std::sort(order_.begin(), order_.end(),
            [this](uint32_t a, uint32_t b) { return members_[a].position < members_[b].position; });
  directoryPosition_ = 0;
  directory_ = {};
  for (size_t i = 0; i < order_.size(); ++i) {
    if (i + kLookAhead < order_.size()) {
      const DupMember& ahead = members_[order_[i + kLookAhead]];
      records_.Prefetch(ahead.position);
      directories_.Prefetch(ahead.directory);
    }
    ReadRecord(order_[i]);
  }
}

void Batch::ReadRecord(size_t member) {
  RecordView view;
  const DupMember& from = members_[member];
  if (from.directory != directoryPosition_) {
    directoryPosition_ = from.directory;
    directory_ = directories_.Read(from.directory, view) ? Keep(view.name) : Text{};
  }
  if (!records_.Read(from.position, view)) return;
  entries_[member] = {.name = Keep(view.name),
                      .directory = directory_,
                      .inDirectory = from.directory != 0,
                      .created = view.fields.created(),
                      .accessed = view.fields.accessed(),
                      .modified = view.fields.modified()};
}

class Writer {
 public:
  explicit Writer(Report& report)
      : report_(report), writer_(report), times_(dateFmt), root_(writer_.NewText()) {
    root_.Add(rootPath);
  }

  void WriteBatch(Batch& batch) {
    batch.ReadRecords();
    size_t member = 0;
    for (const GroupPart& part : batch.parts()) {
      if (!qvaOutput.IsOpen()) {
        WritePart(batch, part, member);
      } else if (part.begins()) {
        WriteQvaLine(batch, part.group, batch.entry(member));
      }
      member += part.count;
    }
    batch.Clear();
  }

 private:
  void WriteQvaLine(const Batch& batch, const DupGroup& group, const Batch::Entry& first) {
    name_.Assign(batch.View(first.name));
    ReportEntry(report_, L"%ls|%llu|%u|%u|%u|%u\n", name_.Wide(), group.size, group.count,
                first.created, first.accessed, first.modified);
  }

  void WritePart(const Batch& batch, const GroupPart& part, size_t member) {
    if (part.begins()) WriteHeading(part.group, batch.entry(member));
    for (size_t i = 0; i < part.count; ++i) WriteMember(batch, batch.entry(member + i));
    if (part.ends()) writer_.EndLine();
  }

  void WriteHeading(const DupGroup& group, const Batch::Entry& first) {
    writer_.Add(std::string_view("Size: ")).AddSigned(static_cast<int64_t>(group.size));
    if ((report_.dupFields & kDupMdate) != 0) {
      writer_.Add(std::string_view("  Modified: ")).Add(times_.Format(first.modified));
    }
    if ((report_.dupFields & kDupCdate) != 0) {
      writer_.Add(std::string_view("  Created: ")).Add(times_.Format(first.created));
    }
    writer_.EndLine();
  }

  void WriteMember(const Batch& batch, const Batch::Entry& entry) {
    directory_.Assign(batch.View(entry.directory));
    name_.Assign(batch.View(entry.name));
    writer_.Add(std::string_view("  "));
    // Files before the first directory are in an empty one.
    const wchar_t last =
        entry.inDirectory ? AddDirectory(report_, root_, directory_, writer_) : L'\0';
    // A backslash is used whatever the scanned system's separator is. Kept so.
    if (last != L'\\') writer_.Add('\\');
    writer_.Add(name_).EndLine();
  }

  Report& report_;
  LineWriter writer_;
  FileTimeFormatter times_;
  EncodedText root_;
  RecordText directory_;
  RecordText name_;
};

}  // namespace

void DuplicateReport(Report& report) {
  DisplayReportFile(report);
  // A title of "none" is printed as it is here.
  if (!qvaOutput.IsOpen()) ReportEntry(report, L"\n---- %ls ----\n\n", report.title);
  DupGroups& groups = static_cast<DupFinder&>(*report.work).groups;
  Writer writer(report);
  Batch batch;
  DupGroup group;
  while (groups.Next(group)) {
    for (uint32_t done = 0; done < group.count;) {
      done += batch.Add(groups, group, done);
      if (batch.full()) writer.WriteBatch(batch);
    }
  }
  writer.WriteBatch(batch);
  report.work.reset();
}

}  // namespace tabulon
