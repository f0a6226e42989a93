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

// Groups are written in batches of about so many members and bytes of text: within a batch the
// records are read in file order, whatever the order of the groups, so that the file is passed over
// once a batch and memory stays bounded.
constexpr size_t kBatchMembers = 2U << 20;
constexpr uint64_t kBatchText = uint64_t{96} << 20;

// How many records ahead the next ones are fetched.
constexpr size_t kLookAhead = 8;

// A batch: some groups, their members, and what the members' records say.
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

  bool full() const { return members_.size() >= kBatchMembers || textLength_ >= kBatchText; }
  void Add(DupGroups& groups, const DupGroup& group) {
    const size_t at = members_.size();
    groups.members().Read(group.first, group.count, members_);
    groups_.push_back(group);
    for (size_t i = at; i < members_.size(); ++i) textLength_ += members_[i].textLength;
  }
  void ReadRecords();
  void Clear() {
    groups_.clear();
    members_.clear();
    text_.clear();
    textLength_ = 0;
  }

  const std::vector<DupGroup>& groups() const { return groups_; }
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
  std::vector<DupGroup> groups_;
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
  explicit Writer(Report& report) : report_(report), writer_(report), times_(dateFmt) {
    root_.Assign(rootPath);
  }

  void WriteBatch(Batch& batch) {
    batch.ReadRecords();
    size_t member = 0;
    for (const DupGroup& group : batch.groups()) {
      if (qvaOutput.IsOpen()) {
        WriteQvaLine(batch, group, batch.entry(member));
      } else {
        WriteGroup(batch, group, member);
      }
      member += group.count;
    }
    batch.Clear();
  }

 private:
  void WriteQvaLine(const Batch& batch, const DupGroup& group, const Batch::Entry& first) {
    name_.Assign(batch.View(first.name));
    ReportEntry(report_, L"%ls|%llu|%u|%u|%u|%u\n", name_.Wide(), group.size, group.count,
                first.created, first.accessed, first.modified);
  }

  void WriteGroup(const Batch& batch, const DupGroup& group, size_t member) {
    const Batch::Entry& first = batch.entry(member);
    writer_.Add(std::string_view("Size: ")).AddSigned(static_cast<int64_t>(group.size));
    if ((report_.dupFields & kDupMdate) != 0) {
      writer_.Add(std::string_view("  Modified: ")).Add(times_.Format(first.modified));
    }
    if ((report_.dupFields & kDupCdate) != 0) {
      writer_.Add(std::string_view("  Created: ")).Add(times_.Format(first.created));
    }
    writer_.EndLine();
    for (size_t i = 0; i < group.count; ++i) WriteMember(batch, batch.entry(member + i));
    writer_.EndLine();
  }

  void WriteMember(const Batch& batch, const Batch::Entry& entry) {
    directory_.Assign(batch.View(entry.directory));
    name_.Assign(batch.View(entry.name));
    writer_.Add(std::string_view("  "));
    // Files before the first directory are in an empty one.
    const wchar_t last = entry.inDirectory ? AddDirectory() : L'\0';
    // A backslash is used whatever the scanned system's separator is. Kept so.
    if (last != L'\\') writer_.Add('\\');
    writer_.Add(name_).EndLine();
  }

  // Adds the directory's path; returns its last unit, 0 for an empty path.
  wchar_t AddDirectory() {
    const ShownDirectory shown = ShowDirectory(report_, directory_);
    if (shown.withRoot) writer_.Add(root_);
    const wchar_t rootEnd = shown.withRoot && !rootPath.empty() ? rootPath.back() : L'\0';
    return directory_.Visit([&](auto path) {
      path.remove_prefix(shown.dropped);
      writer_.Add(path);
      return path.empty() ? rootEnd : static_cast<wchar_t>(path.back());
    });
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
    batch.Add(groups, group);
    if (batch.full()) writer.WriteBatch(batch);
  }
  writer.WriteBatch(batch);
  report.work.reset();
}

}  // namespace tabulon
